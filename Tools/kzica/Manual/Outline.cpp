#include "Tools/kzica/Manual/Outline.h"

#include <algorithm>

#include "Tools/kzica/App.h"

namespace kzica {

namespace {

// "{png,tif}" somewhere in a type: what the parser takes.
std::vector<std::string> ChoicesIn(const std::string& type) {
  std::vector<std::string> choices;
  const size_t open = type.find('{');
  const size_t close = type.find('}');
  if (open == std::string::npos || close == std::string::npos) return choices;
  for (size_t from = open + 1; from < close;) {
    const size_t end = std::min(type.find(',', from), close);
    choices.push_back(type.substr(from, end - from));
    from = end + 1;
  }
  return choices;
}

// "1 - 100" of "INT in [1 - 100]".
std::string RangeIn(const std::string& type) {
  const std::string before = " in [";
  const size_t open = type.find(before);
  if (open == std::string::npos) return {};
  const size_t from = open + before.size();
  return type.substr(from, type.find(']', from) - from);
}

// The name of a type, without what the parser checks; numbers are N.
std::string OperandOf(const std::string& type) {
  const std::string name = type.substr(0, type.find(':'));
  return name == "INT" || name == "UINT" || name == "FLOAT" ? "N" : name;
}

// Options say what they take by the name of its type, operands by their own: FILE[:PAGES].
Takes TakenBy(const std::string& name) {
  const std::string word = name.substr(0, name.find_first_of(".:[| "));
  for (const char* file : {"FILE", "OUT", "IN", "SRC", "REPORT"}) {
    if (word == file) return Takes::File;
  }
  return word == "DIR" ? Takes::Folder : Takes::Text;
}

std::vector<std::string> NamesOf(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  return names;
}

OutlineOption OptionOf(const CLI::Option& option) {
  OutlineOption outline;
  outline.names = NamesOf(option);
  outline.description = option.get_description();
  outline.initial = option.get_default_str();
  outline.required = option.get_required();
  for (const CLI::Option* other : option.get_excludes()) {
    const std::vector<std::string> names = NamesOf(*other);
    outline.excludes.insert(outline.excludes.end(), names.begin(), names.end());
  }
  const std::string type = option.get_type_name();
  outline.choices = ChoicesIn(type);
  if (outline.names.empty()) {
    outline.operand = option.get_name(true);
    // Some say themselves what follows the name.
    outline.repeated = option.get_items_expected_max() > 1;
    if (outline.repeated) {
      outline.operand += option.get_option_text().empty() ? "..." : option.get_option_text();
    }
  } else if (option.get_items_expected_max() > 0) {
    outline.operand = OperandOf(type);
    outline.range = RangeIn(type);
    // Those of one value take the last, or all of them.
    outline.repeated = option.get_items_expected_max() > 1;
  } else {
    return outline;
  }
  outline.takes = !outline.choices.empty() ? Takes::Choice : TakenBy(outline.operand);
  // "group|N": a word or something else.
  for (size_t from = 0, bar = 0; (bar = type.find('|', from)) != std::string::npos;
       from = bar + 1) {
    outline.choices.push_back(type.substr(from, bar - from));
  }
  return outline;
}

std::vector<OutlineOption> OptionsOf(const CLI::App& command, bool operands) {
  std::vector<OutlineOption> options;
  for (const CLI::Option* option : command.get_options()) {
    if (option->get_positional() == operands) options.push_back(OptionOf(*option));
  }
  return options;
}

}  // namespace

Outline OutlineOfCommand() {
  CLI::App app;
  Exit exit = kDone;
  DefineApp(app, exit);
  Outline outline{app.get_description(), app.get_footer(), OptionsOf(app, false), {}};
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands({})) {
    names.push_back(command->get_name());
    // A command without words of its own has those of the whole.
    const std::string footer =
        command->get_footer() == app.get_footer() ? std::string() : command->get_footer();
    outline.commands.push_back({command->get_name(), command->get_description(), footer,
                                OptionsOf(*command, false), OptionsOf(*command, true)});
  }
  for (OutlineCommand& command : outline.commands) {
    for (OutlineOption& operand : command.operands) {
      if (operand.operand != "COMMAND") continue;
      operand.takes = Takes::Choice;
      operand.choices = names;
    }
  }
  return outline;
}

std::string Joined(const std::vector<std::string>& words) {
  std::string joined;
  for (const std::string& word : words) joined += (joined.empty() ? "" : " ") + word;
  return joined;
}

}  // namespace kzica
