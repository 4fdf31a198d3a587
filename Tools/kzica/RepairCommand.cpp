// kzica repair: a sound document of what can be read.
#include <unistd.h>

#include <memory>

#include "Toolkit/Editing/Repair.h"
#include "Tools/kzica/Documents.h"
#include "Tools/kzica/Input.h"

namespace kzica {

namespace {

struct RepairOptions {
  std::string file;
  std::string out;
  bool dryRun = false;
  bool breakLinks = false;
};

std::string LeftOutWords(const kz::LeftOutBytes& bytes) {
  std::string words = "left out: " + std::to_string(bytes.length) +
                      (bytes.length == 1 ? " byte" : " bytes") + " at byte " +
                      std::to_string(bytes.offset);
  if (bytes.page > 0) words += ", of page " + std::to_string(bytes.page);
  return words;
}

Exit Repair(const RepairOptions& options) {
  RefuseTerminal(options.out);
  kz::DocumentLock lock;
  std::error_code ignored;
  if (!options.dryRun && options.out != "-" &&
      std::filesystem::equivalent(options.file, options.out, ignored)) {
    const Exit locked = LockDocument(options.out, options.breakLinks, lock);
    if (locked != kDone) return locked;
  }
  kz::PageIndex index;
  kz::Repair repair;
  kz::Outcome outcome = kz::IndexFile(options.file, index);
  if (outcome.Ok()) outcome = repair.Plan(index);
  if (!outcome.Ok()) return Complain({options.file}, outcome);
  if (!options.dryRun) {
    outcome = options.out == "-" ? repair.Write(STDOUT_FILENO) : repair.Write(options.out);
    Warn({options.out}, outcome);
    if (!outcome.Ok()) return Complain({options.out}, outcome);
  }
  if (!repair.Needed()) {
    Note({options.file}, "nothing to repair");
    return kDone;
  }
  kz::Outcome done;
  done.warnings.push_back(index.structure.what);
  for (const kz::LeftOutBytes& bytes : repair.LeftOut())
    done.warnings.push_back(LeftOutWords(bytes));
  Warn({options.file}, done);
  Note({options.file}, "pages of the result: " + std::to_string(repair.Pages()));
  return kDone;
}

}  // namespace

void AddRepair(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("repair", "Make a sound document of a damaged one");
  command->footer(
      "The result has all that can be read, in order: whole pages and resources as they are, of\n"
      "a damaged page its sound fields. Standard error says what was left out. A file without\n"
      "damage is copied. Exit status 3 when there was damage.");
  auto options = std::make_shared<RepairOptions>();
  command->add_option("FILE", options->file, "Document to repair")->required();
  CLI::Option* out =
      command->add_option("-o,--output", options->out, "File to write; - is standard output")
          ->type_name("OUT")
          ->check(CLI::Validator(
              [](const std::string& name) {
                return name.empty() ? "an empty name is no file" : "";
              },
              ""));
  command->add_flag("--dry-run", options->dryRun, "Only say what would be left out");
  AddChangeOptions(*command, options->breakLinks);
  command->callback([options, out, &exit] {
    if (out->count() == 0 && !options->dryRun) {
      throw UsageError("say with -o where the result goes");
    }
    exit = OpenInput(options->file);
    if (exit == kDone) exit = Repair(*options);
  });
}

}  // namespace kzica
