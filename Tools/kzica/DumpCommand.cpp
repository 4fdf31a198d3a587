// kzica dump: everything that a file consists of.
#include <memory>

#include "Toolkit/Base/Printable.h"
#include "Toolkit/Dump/Dump.h"
#include "Tools/kzica/Input.h"

namespace kzica {

namespace {

struct DumpCommandOptions {
  std::vector<std::string> files;
  bool json = false;
  kz::DumpOptions dump;
};

Exit DumpOne(const std::string& argument, const DumpCommandOptions& options) {
  std::string file = argument;
  if (OpenInput(file) != kDone) return kFileFailed;
  const kz::DumpOutput output = [](std::string_view line) {
    Print(std::string(line));
    return CanPrint();
  };
  const bool several = options.files.size() > 1;
  const auto sink = options.json ? kz::MakeJsonDump(output, several ? argument : std::string())
                                 : kz::MakeTextDump(output);
  const kz::Outcome outcome = kz::DumpFile(file, options.dump, *sink);
  const Exit exit = outcome.Ok() ? kDone : Complain({file}, outcome);
  CloseInput(file);
  return exit;
}

Exit Dump(const DumpCommandOptions& options) {
  CheckEncoding(options.dump.encoding);
  Exit exit = kDone;
  bool first = true;
  for (const std::string& file : options.files) {
    if (!options.json && options.files.size() > 1) {
      const std::string name = file == "-" ? "standard input" : kz::Printable(file);
      Print((first ? "==> " : "\n==> ") + name + " <==\n");
    }
    first = false;
    if (DumpOne(file, options) != kDone) exit = kFileFailed;
    if (!CanPrint()) break;
  }
  return exit;
}

}  // namespace

void AddDump(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("dump", "Show all fields of files");
  command->footer(
      "One line for each structured field, each self-defining field of an image and each\n"
      "control sequence of text: offset, 5A if it stands before the field, length, identifier,\n"
      "name and values. A line with !! says what can't be read there; the dump goes on behind\n"
      "it, and its exit status is 0 nevertheless unless nothing of the file can be read. check "
      "says\n"
      "whether the pages can be loaded. Before each of several files stands a line with its name.");
  auto options = std::make_shared<DumpCommandOptions>();
  command->add_option("FILE", options->files, "Files to show")->required();
  command->add_flag("--json", options->json,
                    "Print one JSON object per field, each on a line; each begins with its file "
                    "when there are several");
  command
      ->add_option("-e,--encoding", options->dump.encoding,
                   "Encoding of the document's names and text, as iconv calls it")
      ->capture_default_str();
  command->callback([options, &exit] { exit = Dump(*options); });
}

}  // namespace kzica
