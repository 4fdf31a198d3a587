// kzica delete: pages out of a document.
#include <memory>

#include "Tools/kzica/Documents.h"

namespace kzica {

namespace {

struct DeleteOptions {
  std::string file;
  std::string pages;
};

Exit Delete(const DeleteOptions& options) {
  const kz::PageRange range = ParsePages("--page", options.pages);
  kz::PageIndex target;
  std::vector<int> pages;
  Exit exit = IndexFile(options.file, target);
  if (exit == kDone) exit = ChoosePages(target, range, pages);
  if (exit != kDone) return exit;
  const bool second = pages == std::vector<int>{2} && target.SecondFollowsFirst();
  const kz::Outcome outcome =
      second ? kz::DeleteSecondPage(target) : kz::DeletePages(target, pages, options.file);
  if (!outcome.Ok()) return Complain({options.file}, outcome);
  if (!target.PagesAreImages()) NoteNumbering(options.file);
  return kDone;
}

}  // namespace

void AddDelete(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("delete", "Remove pages from a document");
  command->footer(
      "What stands between pages stays. If anything fails, the document is what it was.");
  auto options = std::make_shared<DeleteOptions>();
  command->add_option("FILE", options->file, "Document to change")->required();
  command->add_option("-p,--page", options->pages, "Pages to remove, like 2, 1,3-5, 9- or z")
      ->required()
      ->type_name("PAGES");
  command->callback([options, &exit] { exit = Delete(*options); });
}

}  // namespace kzica
