#include "Tools/kzica/Manual/Outline.h"

namespace kzica {

namespace {

std::string Quoted(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) {
    if (c == '\'' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + "'";
}

// The arguments of `complete` for an option: its names, what it takes, what it does.
std::string Described(const OutlineOption& option) {
  std::string text;
  for (const std::string& name : option.names) {
    text += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
  }
  if (!option.choices.empty()) {
    text += " -x -a " + Quoted(Joined(option.choices));
  } else if (option.takes == Takes::File) {
    text += " -r -F";
  } else if (option.takes == Takes::Folder) {
    text += " -x -a '(__fish_complete_directories)'";
  } else if (option.takes == Takes::Text) {
    text += " -x";
  }
  return text + " -d " + Quoted(option.description) + "\n";
}

}  // namespace

std::string FishCompletion(const Outline& outline) {
  std::string text =
      "# fish completion for kzica\n"
      "\n"
      "# Whether the command that is typed is of a name, or there is none yet.\n"
      "function __kzica_is\n"
      "    set -l words (commandline -opc)\n"
      "    test \"$words[2]\" = \"$argv[1]\"\n"
      "end\n"
      "\n";
  for (const OutlineOption& option : outline.options) {
    text += "complete -c kzica -n \"__kzica_is ''\"" + Described(option);
  }
  for (const OutlineCommand& command : outline.commands) {
    text += "complete -c kzica -n \"__kzica_is ''\" -f -a " + command.name + " -d " +
            Quoted(command.description) + "\n";
  }
  for (const OutlineCommand& command : outline.commands) {
    const std::string begin = "complete -c kzica -n '__kzica_is " + command.name + "'";
    for (const OutlineOption& option : command.options) text += begin + Described(option);
    for (const OutlineOption& operand : command.operands) {
      if (operand.takes == Takes::Choice) {
        text += begin + " -f -a " + Quoted(Joined(operand.choices)) + "\n";
      }
    }
  }
  return text;
}

}  // namespace kzica
