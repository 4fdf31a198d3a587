#include "Tools/kzica/Manual/Outline.h"

namespace kzica {

namespace {

// "'render --format' | 'render -f'": the words that stand before what an option takes.
std::string Pattern(const std::string& command, const OutlineOption& option) {
  std::string pattern;
  for (const std::string& name : option.names) {
    pattern.append(pattern.empty() ? "'" : " | '").append(command).append(" ").append(name) += "'";
  }
  return pattern;
}

std::string Reply(const OutlineOption& option) {
  std::string reply;
  if (!option.choices.empty()) reply += "_kzica_words '" + Joined(option.choices) + "'";
  if (option.takes == Takes::File) reply += "_kzica_files -f";
  if (option.takes == Takes::Folder) reply += "_kzica_files -d";
  return reply.empty() ? ":" : reply;
}

std::string LongNames(const std::vector<OutlineOption>& options) {
  std::vector<std::string> names;
  for (const OutlineOption& option : options) {
    for (const std::string& name : option.names) {
      if (name.starts_with("--")) names.push_back(name);
    }
  }
  return Joined(names);
}

}  // namespace

std::string BashCompletion(const Outline& outline) {
  std::string commands;
  for (const OutlineCommand& command : outline.commands) commands += command.name + " ";
  std::string text =
      "# bash completion for kzica\n"
      "\n"
      "# Those of some words that go on from what is typed.\n"
      "_kzica_words() {\n"
      "  mapfile -t COMPREPLY < <(compgen -W \"$1\" -- \"$word\")\n"
      "}\n"
      "\n"
      "# Files, or folders with -d.\n"
      "_kzica_files() {\n"
      "  mapfile -t COMPREPLY < <(compgen \"$1\" -- \"$word\")\n"
      "  compopt -o filenames\n"
      "}\n"
      "\n"
      "_kzica() {\n"
      "  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}\n"
      "  if [ \"$COMP_CWORD\" -eq 1 ]; then\n"
      "    _kzica_words '" +
      commands + LongNames(outline.options) +
      "'\n"
      "    return\n"
      "  fi\n"
      "  # --option=value is three words.\n"
      "  if [ \"$word\" = = ]; then\n"
      "    word=\n"
      "  elif [ \"$before\" = = ]; then\n"
      "    before=${COMP_WORDS[COMP_CWORD - 2]}\n"
      "  fi\n"
      "  case \"${COMP_WORDS[1]} $before\" in\n";
  for (const OutlineCommand& command : outline.commands) {
    for (const OutlineOption& option : command.options) {
      if (option.takes == Takes::Nothing) continue;
      text.append("    ").append(Pattern(command.name, option)).append(") ");
      text.append(Reply(option)).append("; return ;;\n");
    }
  }
  text +=
      "  esac\n"
      "  case \"${COMP_WORDS[1]} $word\" in\n";
  for (const OutlineCommand& command : outline.commands) {
    text.append("    '").append(command.name).append(" -'*) _kzica_words '");
    text.append(LongNames(command.options)).append("' ;;\n");
  }
  for (const OutlineCommand& command : outline.commands) {
    for (const OutlineOption& operand : command.operands) {
      if (operand.takes != Takes::Choice) continue;
      text.append("    '").append(command.name).append(" '*) ");
      text.append(Reply(operand)).append(" ;;\n");
    }
  }
  text +=
      "    *) _kzica_files -f ;;\n"
      "  esac\n"
      "}\n"
      "complete -F _kzica kzica\n";
  return text;
}

}  // namespace kzica
