// kzica dump: everything that a file consists of.
#include <cstdio>
#include <memory>

#include "Toolkit/Dump/Dump.h"
#include "Tools/kzica/Input.h"

namespace kzica {

namespace {

struct DumpCommandOptions {
  std::string file;
  bool json = false;
  kz::DumpOptions dump;
};

Exit Dump(DumpCommandOptions& options) {
  CheckEncoding(options.dump.encoding);
  if (OpenInput(options.file) != kDone) return kFileFailed;
  const kz::DumpOutput output = [](std::string_view line) {
    Print(std::string(line));
    return std::ferror(stdout) == 0;
  };
  const auto sink = options.json ? kz::MakeJsonDump(output) : kz::MakeTextDump(output);
  const kz::Outcome outcome = kz::DumpFile(options.file, options.dump, *sink);
  return outcome.Ok() ? kDone : Complain({options.file}, outcome);
}

}  // namespace

void AddDump(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("dump", "Show all fields of a file");
  command->footer(
      "One line for each structured field, each self-defining field of an image and each\n"
      "control sequence of text: offset, 5A if it stands before the field, length, identifier,\n"
      "name and values. A line with !! says what can't be read there; the dump goes on behind\n"
      "it, and its exit status is 0 nevertheless unless nothing of the file can be read. check "
      "says\n"
      "whether the pages can be loaded.");
  auto options = std::make_shared<DumpCommandOptions>();
  command->add_option("FILE", options->file, "File to show")->required();
  command->add_flag("--json", options->json, "Print one JSON object per field, each on a line");
  command
      ->add_option("-e,--encoding", options->dump.encoding,
                   "Encoding of the document's names and text, as iconv calls it")
      ->capture_default_str();
  command->callback([options, &exit] { exit = Dump(*options); });
}

}  // namespace kzica
