// Writes the manual page or the bash completion of kzica from the definitions of
// its commands: kzica_documents man|bash.
#include <cstdio>
#include <string>
#include <vector>

#include "Tools/kzica/App.h"

namespace {

using namespace kzica;

// Text for groff: no word of it may be taken for a request or an escape.
std::string Escape(const std::string& text) {
  std::string out;
  bool lineStart = true;
  for (const char c : text) {
    if (lineStart && (c == '.' || c == '\'')) out += "\\&";
    if (c == '\\') {
      out += "\\e";
    } else if (c == '-') {
      out += "\\-";
    } else {
      out += c;
    }
    lineStart = c == '\n';
  }
  return out;
}

void Line(const std::string& text) { std::printf("%s\n", text.c_str()); }

// The names of an option, "-p, --page", with what it takes.
std::string Names(const CLI::Option& option) {
  std::string names;
  for (const std::string& name : option.get_snames()) names += (names.empty() ? "-" : ", -") + name;
  for (const std::string& name : option.get_lnames()) {
    names += (names.empty() ? "--" : ", --") + name;
  }
  if (option.get_items_expected_max() > 0 && !option.get_type_name().empty()) {
    names += " " + option.get_type_name();
  }
  return names;
}

std::vector<const CLI::Option*> Positionals(const CLI::App& command) {
  return command.get_options([](const CLI::Option* option) { return option->get_positional(); });
}

std::vector<const CLI::Option*> Options(const CLI::App& command) {
  return command.get_options([](const CLI::Option* option) { return option->nonpositional(); });
}

// "kzica extract [OPTIONS] FILE OUT"
std::string Synopsis(const CLI::App& command) {
  std::string synopsis = "kzica " + command.get_name() + " [OPTIONS]";
  for (const CLI::Option* operand : Positionals(command)) {
    std::string name = operand->get_name(true);
    // Some say themselves what follows the name.
    if (operand->get_items_expected_max() > 1) {
      name += operand->get_option_text().empty() ? "..." : operand->get_option_text();
    }
    synopsis += operand->get_required() ? " " + name : " [" + name + "]";
  }
  return synopsis;
}

void DescribeOption(const CLI::Option& option, const std::string& names) {
  Line(".TP");
  Line(".B " + Escape(names));
  std::string description = option.get_description();
  if (!option.get_default_str().empty())
    description += " (default " + option.get_default_str() + ")";
  Line(Escape(description.empty() ? " " : description));
}

void WriteManual(const CLI::App& app) {
  Line(".TH KZICA 1 \"\" \"kzica " KZICA_VERSION "\" \"User Commands\"");
  Line(".SH NAME");
  Line("kzica \\- read, make and edit IOCA images, bare and in MO:DCA documents");
  Line(".SH SYNOPSIS");
  Line(".B kzica");
  Line("COMMAND [OPTIONS] ...");
  Line(".SH DESCRIPTION");
  Line(Escape(app.get_description()));
  Line(".PP");
  Line(Escape(app.get_footer()));
  for (const CLI::App* command : app.get_subcommands({})) {
    Line(".SH COMMAND " + Escape(command->get_name()));
    Line(Escape(command->get_description()) + ".");
    Line(".PP");
    Line(".B " + Escape(Synopsis(*command)));
    for (const CLI::Option* operand : Positionals(*command)) {
      DescribeOption(*operand, operand->get_name(true));
    }
    for (const CLI::Option* option : Options(*command)) DescribeOption(*option, Names(*option));
    // A command without words of its own has those of the whole.
    if (!command->get_footer().empty() && command->get_footer() != app.get_footer()) {
      Line(".PP");
      Line(Escape(command->get_footer()));
    }
  }
  Line(".SH EXIT STATUS");
  Line(
      "0 when all was done, 1 when a file failed, 2 for wrong usage, 3 when all was done with "
      "warnings.");
  Line(".SH EXAMPLES");
  for (const char* example :
       {"kzica info archive.mda", "kzica extract archive.mda page.png --page 3",
        "kzica create letter.afp scan.tif --container afp", "kzica append letter.afp more.png",
        "kzica assemble out.mda a.mda:1,3-5 b.afp:z", "kzica dump archive.mda"}) {
    Line(".PP");
    Line(".nf");
    Line(Escape(example));
    Line(".fi");
  }
}

void WriteCompletion(const CLI::App& app) {
  std::string commands;
  for (const CLI::App* command : app.get_subcommands({})) commands += command->get_name() + " ";
  Line("# bash completion for kzica");
  Line("_kzica() {");
  Line("  local word=${COMP_WORDS[COMP_CWORD]} options=");
  Line("  if [ \"$COMP_CWORD\" -eq 1 ]; then");
  Line("    mapfile -t COMPREPLY < <(compgen -W '" + commands + "--help --version' -- \"$word\")");
  Line("    return");
  Line("  fi");
  Line("  case ${COMP_WORDS[1]} in");
  for (const CLI::App* command : app.get_subcommands({})) {
    std::string options;
    for (const CLI::Option* option : Options(*command)) {
      for (const std::string& name : option->get_lnames()) {
        options += (options.empty() ? "--" : " --") + name;
      }
    }
    Line("    " + command->get_name() + ") options='" + options + "' ;;");
  }
  Line("  esac");
  Line("  case $word in");
  Line("    -*) mapfile -t COMPREPLY < <(compgen -W \"$options\" -- \"$word\") ;;");
  Line("    *) mapfile -t COMPREPLY < <(compgen -f -- \"$word\"); compopt -o filenames ;;");
  Line("  esac");
  Line("}");
  Line("complete -F _kzica kzica");
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): a step of the build, which it ends
int main(int argc, char** argv) {
  const std::string form = argc == 2 ? argv[1] : "";
  CLI::App app;
  Exit exit = kDone;
  DefineApp(app, exit);
  if (form == "man") {
    WriteManual(app);
  } else if (form == "bash") {
    WriteCompletion(app);
  } else {
    (void)std::fputs("usage: kzica_documents man|bash\n", stderr);
    return kWrongUsage;
  }
  return std::fflush(stdout) == 0 && std::ferror(stdout) == 0 ? kDone : kFileFailed;
}
