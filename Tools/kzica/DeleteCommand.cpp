// kzica delete: pages out of a document.
#include <memory>

#include "Tools/kzica/Documents.h"

namespace kzica {

namespace {

struct DeleteOptions {
  EditedDocument document;
  std::string pages;
};

Exit Delete(DeleteOptions& options) {
  const kz::PageRange range = ParsePages("--page", options.pages);
  EditedDocument& document = options.document;
  std::vector<int> pages;
  Exit exit = document.Begin();
  if (exit == kDone) exit = ChoosePages(document.Index(), range, pages);
  if (exit == kDone) exit = document.Write(kz::DeletePages(document.Index(), pages));
  return exit;
}

}  // namespace

void AddDelete(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("delete", "Remove pages from a document");
  command->footer(
      "What stands between pages stays. If anything fails, the document is what it was.");
  auto options = std::make_shared<DeleteOptions>();
  options->document.AddOptions(*command);
  command->add_option("-p,--page", options->pages, "Pages to remove, like 2, 1,3-5, 9- or z")
      ->required()
      ->type_name("PAGES");
  command->callback([options, &exit] { exit = Delete(*options); });
}

}  // namespace kzica
