#include "Tools/kzica/Manual/Outline.h"

namespace kzica {

namespace {

// Text within single quotes, with a backslash before each of `special`.
std::string Quoted(const std::string& text, const std::string& special) {
  std::string quoted;
  for (const char c : text) {
    if (c == '\'') {
      quoted += "'\\''";
      continue;
    }
    if (c == '\\' || special.find(c) != std::string::npos) quoted += '\\';
    quoted += c;
  }
  return quoted;
}

// ":what it is:how to complete it".
std::string Action(const OutlineOption& option) {
  std::string action(":");
  action += Quoted(option.operand, ":[]");
  action += ":";
  if (!option.choices.empty()) return action + "(" + Joined(option.choices) + ")";
  if (option.takes == Takes::File) return action + "_files";
  return option.takes == Takes::Folder ? action + "_files -/" : action;
}

// An argument of _arguments. One that takes something may be given as --name=value.
std::string OptionArgument(const OutlineOption& option) {
  const bool takes = option.takes != Takes::Nothing;
  std::string names;
  for (const std::string& name : option.names) {
    const std::string sign = !takes ? "" : name.starts_with("--") ? "=" : "+";
    names.append(names.empty() ? "" : ",").append(name).append(sign);
  }
  std::string text = " \\\n        ";
  if (option.repeated) {
    text += "'*'";
  } else {
    const bool help = option.names.back() == "--help" || option.names.back() == "--version";
    text += "'(" + Joined(option.names);
    for (const std::string& name : option.excludes) text += " " + name;
    text += help ? " - *)'" : ")'";
  }
  text += option.names.size() > 1 ? "{" + names + "}" : names;
  return text + "'[" + Quoted(option.description, "[]") + "]" + (takes ? Action(option) : "") + "'";
}

std::string Arguments(const std::vector<OutlineOption>& options,
                      const std::vector<OutlineOption>& operands) {
  std::string text = "_arguments -s -S";
  for (const OutlineOption& option : options) text += OptionArgument(option);
  size_t place = 0;
  for (const OutlineOption& operand : operands) {
    text += " \\\n        '";
    text += operand.repeated ? "*" : std::to_string(++place);
    text += Action(operand) + "'";
  }
  return text;
}

}  // namespace

std::string ZshCompletion(const Outline& outline) {
  std::string text =
      "#compdef kzica\n"
      "\n"
      "_kzica() {\n"
      "  local curcontext=$curcontext state line\n"
      "  local -a commands\n"
      "  typeset -A opt_args\n"
      "  commands=(\n";
  for (const OutlineCommand& command : outline.commands) {
    text += "    '" + command.name + ":" + Quoted(command.description, ":") + "'\n";
  }
  text +=
      "  )\n"
      "  _arguments -C";
  for (const OutlineOption& option : outline.options) text += OptionArgument(option);
  text +=
      " \\\n        '1:command:->command' '*::argument:->arguments'\n"
      "  case $state in\n"
      "    command) _describe -t commands command commands ;;\n"
      "    arguments)\n"
      "      case $words[1] in\n";
  for (const OutlineCommand& command : outline.commands) {
    text += "      " + command.name + ") " + Arguments(command.options, command.operands) + " ;;\n";
  }
  return text +
         "      esac ;;\n"
         "  esac\n"
         "}\n"
         "\n"
         "_kzica \"$@\"\n";
}

}  // namespace kzica
