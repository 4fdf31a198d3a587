#include <algorithm>

#include "Toolkit/Base/AsciiCase.h"
#include "Tools/kzica/Manual/Outline.h"

namespace kzica {

namespace {

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

// Text in lines that editors of such pages are used to, for groff to fill anew.
std::string Filled(const std::string& text) {
  constexpr size_t most = 70;
  std::string filled;
  size_t column = 0;
  for (size_t from = 0; from < text.size();) {
    const size_t end = std::min(text.find_first_of(" \n", from), text.size());
    if (end == from) {
      ++from;
      continue;
    }
    if (column > 0) filled += column + 1 + end - from > most ? '\n' : ' ';
    column = filled.ends_with('\n') ? end - from : column + 1 + end - from;
    filled.append(text, from, end - from);
    from = end + 1;
  }
  return Escape(filled);
}

// The names of an option, "-p, --page N", with what it takes; of an operand its own.
std::string Names(const OutlineOption& option) {
  std::string names;
  for (const std::string& name : option.names) names += (names.empty() ? "" : ", ") + name;
  if (option.takes == Takes::Choice && !option.names.empty()) {
    std::string choices = Joined(option.choices);
    std::replace(choices.begin(), choices.end(), ' ', '|');
    return names.append(" ").append(choices);
  }
  if (!option.operand.empty()) names += (names.empty() ? "" : " ") + option.operand;
  return names;
}

// "kzica extract [OPTIONS] FILE OUT"
std::string Synopsis(const OutlineCommand& command) {
  std::string synopsis = "kzica " + command.name + " [OPTIONS]";
  for (const OutlineOption& operand : command.operands) {
    synopsis += operand.required ? " " + operand.operand : " [" + operand.operand + "]";
  }
  return synopsis;
}

void AddLine(std::string& page, const std::string& line) { page += line + "\n"; }

void Describe(std::string& page, const OutlineOption& option, const std::string& names) {
  AddLine(page, ".TP");
  AddLine(page, ".B " + Escape(names));
  std::string description = option.description;
  if (!option.range.empty()) description += " (" + option.range + ")";
  if (!option.initial.empty()) description += " (default " + option.initial + ")";
  AddLine(page, Filled(description));
}

void Begin(std::string& page, const std::string& name) {
  std::string title = name;
  for (char& c : title) c = kz::UpperCase(c);
  AddLine(page, ".TH " + title + " 1 " KZICA_DATE " \"kzica " KZICA_VERSION "\" \"User Commands\"");
  AddLine(page, ".SH NAME");
}

}  // namespace

std::string ManualPage(const Outline& outline) {
  std::string page;
  Begin(page, "kzica");
  AddLine(page, "kzica \\- read, make and edit IOCA images, bare and in MO:DCA documents");
  AddLine(page, ".SH SYNOPSIS");
  AddLine(page, ".B kzica");
  AddLine(page, "COMMAND [OPTIONS] ...");
  AddLine(page, ".SH DESCRIPTION");
  AddLine(page, Filled(outline.description));
  AddLine(page, ".PP");
  AddLine(page, Filled(outline.footer));
  for (const OutlineCommand& command : outline.commands) {
    AddLine(page, ".SH COMMAND " + Escape(command.name));
    AddLine(page, Filled(command.description) + ".");
    AddLine(page, ".PP");
    AddLine(page, ".B " + Escape(Synopsis(command)));
    for (const OutlineOption& operand : command.operands) {
      // What follows the name stands in the synopsis.
      const size_t end = operand.operand.find_first_of(".[ ");
      Describe(page, operand, operand.operand.substr(0, end));
    }
    for (const OutlineOption& option : command.options) Describe(page, option, Names(option));
    if (!command.footer.empty()) {
      AddLine(page, ".PP");
      AddLine(page, Filled(command.footer));
    }
  }
  AddLine(page, ".SH EXIT STATUS");
  AddLine(page,
          Filled("0 when all was done, 1 when a file failed, 2 for wrong usage, 3 when all was "
                 "done with warnings."));
  AddLine(page, ".SH EXAMPLES");
  AddLine(page, ".nf");
  for (const char* example :
       {"kzica info archive.mda", "kzica extract archive.mda page.png --page 3",
        "kzica create letter.afp scan.tif --container afp", "kzica append letter.afp more.png",
        "kzica assemble out.mda a.mda:1,3-5 b.afp:z", "kzica dump archive.mda"}) {
    AddLine(page, Escape(example));
  }
  AddLine(page, ".fi");
  AddLine(page, ".SH SEE ALSO");
  AddLine(page, ".BR kzica\\-parallel\\-convert (1),");
  AddLine(page, ".BR kzica\\-slurm\\-convert (1)");
  return page;
}

std::string ScriptManualPage(const std::string& help) {
  const std::string before = "Usage: ";
  const size_t line = help.find('\n');
  if (!help.starts_with(before) || line == std::string::npos) return {};
  const std::string synopsis = help.substr(before.size(), line - before.size());
  const std::string name = synopsis.substr(0, synopsis.find(' '));
  const size_t text = help.find_first_not_of('\n', line);
  // The first sentence says what the script does.
  const size_t end = help.find('.', text);
  if (end == std::string::npos) return {};
  std::string page;
  Begin(page, name);
  AddLine(page, Escape(name) + " \\- " + Filled(help.substr(text, end - text)));
  AddLine(page, ".SH SYNOPSIS");
  AddLine(page, ".nf");
  AddLine(page, Escape(synopsis));
  AddLine(page, ".fi");
  AddLine(page, ".SH DESCRIPTION");
  AddLine(page, ".nf");
  AddLine(page, Escape(help.substr(text, help.find_last_not_of('\n') + 1 - text)));
  AddLine(page, ".fi");
  AddLine(page, ".SH SEE ALSO");
  AddLine(page, ".BR kzica (1)");
  return page;
}

}  // namespace kzica
