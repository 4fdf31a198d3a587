// kzica insert: pictures after a page of a document.
#include <memory>

#include "Tools/kzica/Documents.h"

namespace kzica {

namespace {

struct InsertOptions {
  EditedDocument document;
  std::vector<std::string> inputs;
  std::string after;
  std::string container;
  PageOptions pages;
};

std::string PlaceWords(const kz::PageIndex& index, int after) {
  if (index.pages.empty()) return "into a document without pages";
  return (after > 0 ? "after page " + std::to_string(after) : "before page 1") + " of " +
         std::to_string(index.pages.size());
}

Exit Insert(InsertOptions& options) {
  std::vector<int> after = {0};
  kz::PageRange place;
  if (options.after != "0") {
    place = ParsePages("--after", options.after);
    if (!place.IsSinglePage()) throw UsageError("--after: there is one place to insert at");
  }
  EditedDocument& document = options.document;
  PicturePages pictures;
  Exit exit = document.Begin();
  if (exit == kDone && options.after != "0") exit = ChoosePages(document.Index(), place, after);
  if (exit == kDone) {
    exit = pictures.Make(options.inputs, options.pages, options.container, document);
  }
  if (exit != kDone) return exit;
  const std::vector<kz::PagePick> picks = pictures.Picks();
  return document.Write(
      kz::InsertPages(document.Index(), after[0], picks),
      {"inserted", "insert",
       Count(picks.size(), "page") + " " + PlaceWords(document.Index(), after[0])});
}

}  // namespace

void AddInsert(CLI::App& app, Exit& exit) {
  CLI::App* command =
      app.add_subcommand("insert", "Add pictures as pages of a document, after one of its pages");
  command->footer("If anything fails, the document is what it was.");
  auto options = std::make_shared<InsertOptions>();
  options->document.AddOptions(*command);
  command->add_option("IN", options->inputs, "Pictures")->required();
  command
      ->add_option("--after", options->after,
                   "Page to insert them after; 0 is before the first, z the last")
      ->required()
      ->type_name("N");
  AddPageOptions(*command, options->pages);
  AddContainerOption(*command, options->container);
  command->callback([options, &exit] { exit = Insert(*options); });
}

}  // namespace kzica
