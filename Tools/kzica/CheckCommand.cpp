// kzica check: whether every page of a file can be used.
#include <memory>

#include "Toolkit/Base/Printable.h"
#include "Toolkit/Documents/Check.h"
#include "Tools/kzica/Input.h"

namespace kzica {

namespace {

struct CheckOptions {
  std::vector<std::string> files;
  kz::LoadOptions load;
};

Exit CheckOne(const std::string& file, const kz::LoadOptions& options) {
  int pictures = 0;
  const kz::Outcome outcome = kz::CheckFile(file, options, [&](const kz::CheckResult& result) {
    pictures = result.pictures;
    // Damage of a page is a warning; what is said of the whole file is worth knowing.
    if (result.picture > 0) {
      Warn({file, 0, result.picture}, result.outcome);
    } else {
      for (const std::string& note : result.outcome.warnings) Note({file}, note);
    }
    if (!result.outcome.Ok()) Complain({file, 0, result.picture}, result.outcome);
  });
  if (!outcome.Ok()) return kFileFailed;
  Print(kz::Printable(InputName(file)) + ": " +
        (pictures == 1 ? "the picture" : "all " + std::to_string(pictures) + " pictures") +
        " can be loaded\n");
  return kDone;
}

Exit Check(const CheckOptions& options) {
  Exit exit = kDone;
  for (std::string file : options.files) {
    if (OpenInput(file) != kDone || CheckOne(file, options.load) != kDone) exit = kFileFailed;
    CloseInput(file);
  }
  return exit;
}

}  // namespace

void AddCheck(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("check", "See whether all pages of files can be loaded");
  command->footer(
      "Loads every page and walks over all structured fields. Exit status 1 when any page of\n"
      "any file can't be loaded or a file is damaged elsewhere, 3 when a page shows damage.");
  auto options = std::make_shared<CheckOptions>();
  command->add_option("FILE", options->files, "Files to check")->required();
  AddMaxPixels(*command, options->load.maxPixels);
  command->callback([options, &exit] { exit = Check(*options); });
}

}  // namespace kzica
