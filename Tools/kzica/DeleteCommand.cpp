// kzica delete: pages out of a document.
#include <algorithm>
#include <memory>

#include "Tools/kzica/Documents.h"

namespace kzica {

namespace {

struct DeleteOptions {
  EditedDocument document;
  SelectionOptions pages;
};

Exit Delete(DeleteOptions& options) {
  const kz::Selection selection = SelectionOf(options.pages);
  if (selection.IsEmpty()) throw UsageError("say with --page, --group or --tag what to remove");
  EditedDocument& document = options.document;
  std::vector<int> pages;
  Exit exit = document.Begin();
  if (exit == kDone) exit = SelectPages(document.Index(), selection, pages);
  if (exit != kDone) return exit;
  const kz::PageIndex& index = document.Index();
  std::sort(pages.begin(), pages.end());
  pages.erase(std::unique(pages.begin(), pages.end()), pages.end());
  return document.Write(kz::DeletePages(index, pages),
                        {"removed", "remove",
                         PageList(pages) + " of " + std::to_string(index.pages.size()) + ": " +
                             index.PageWords(pages)});
}

}  // namespace

void AddDelete(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("delete", "Remove pages from a document");
  command->footer(
      "A page is all from Begin Page to End Page, whatever is on it: --dry-run says what that\n"
      "is. What stands between pages stays, page groups too. If anything fails, the document\n"
      "is what it was.");
  auto options = std::make_shared<DeleteOptions>();
  options->document.AddOptions(*command);
  AddSelection(*command, options->pages, "Pages to remove, like 2, 1,3-5, 9- or z (the last)");
  command->callback([options, &exit] { exit = Delete(*options); });
}

}  // namespace kzica
