// The command in outline: what its manual page and the completions of shells are made from.
#pragma once

#include <string>
#include <vector>

namespace kzica {

// What an option or operand takes.
enum class Takes { Nothing, Text, File, Folder, Choice };

struct OutlineOption {
  std::vector<std::string> names;  // with their dashes, the short ones first; none of an operand
  std::string operand;             // its name, or that of what the option takes: FILE, N
  std::string description;
  std::string range;                  // of numbers: "1 - 100"; empty: no limits that are known
  std::string initial;                // what it is when it isn't given; empty: nothing
  Takes takes = Takes::Nothing;       // Choice: one of choices; Text: perhaps one of them
  std::vector<std::string> choices;   // in the order of the definition
  std::vector<std::string> excludes;  // names of options that mustn't stand beside it
  bool required = false;
  bool repeated = false;
};

struct OutlineCommand {
  std::string name;
  std::string description;
  std::string footer;  // empty when it has no words of its own
  std::vector<OutlineOption> options;
  std::vector<OutlineOption> operands;
};

struct Outline {
  std::string description;
  std::string footer;
  std::vector<OutlineOption> options;  // without a subcommand
  std::vector<OutlineCommand> commands;
};

// All of the command, from what parses its line.
Outline OutlineOfCommand();

// Words with a space between them.
std::string Joined(const std::vector<std::string>& words);

// Each is the text of a whole file.
std::string ManualPage(const Outline& outline);
std::string BashCompletion(const Outline& outline);
std::string ZshCompletion(const Outline& outline);
std::string FishCompletion(const Outline& outline);
// Of a script, from what its --help prints; empty when that doesn't begin with "Usage: ".
std::string ScriptManualPage(const std::string& help);

}  // namespace kzica
