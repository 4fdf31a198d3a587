// kzica insert: pictures behind a page of a document.
#include <memory>

#include "Tools/kzica/Documents.h"

namespace kzica {

namespace {

struct InsertOptions {
  std::string file;
  std::vector<std::string> inputs;
  std::string after;
  std::string container;
  PageOptions pages;
};

Exit InsertBehindFirst(const InsertOptions& options) {
  Edit edit;
  Exit exit = edit.Begin(options.file, false);
  if (exit != kDone) return exit;
  edit.KeepContainer(options.container);
  const PageSaver saver(options.pages, edit.DocumentContainer(), options.file);
  // Each goes right behind page 1, so the last comes first.
  exit = ForEachPicture(options.inputs, true, [&](Picture& picture) {
    return saver.Save(edit.Path(), picture, kz::SaveMode::kInsertAfterFirst);
  });
  return exit == kDone ? edit.Commit() : exit;
}

Exit InsertAnywhere(const InsertOptions& options, const kz::PageRange& place) {
  PicturePages pictures;
  Exit exit = pictures.Make(options.inputs, options.pages, options.container, options.file);
  kz::PageIndex target;
  if (exit == kDone) exit = IndexFile(options.file, target);
  std::vector<int> after = {0};
  if (exit == kDone && options.after != "0") exit = ChoosePages(target, place, after);
  if (exit != kDone) return exit;
  const kz::Outcome outcome = kz::InsertPages(target, after[0], pictures.Picks(), options.file);
  return outcome.Ok() ? kDone : Complain({options.file}, outcome);
}

Exit Insert(const InsertOptions& options) {
  if (options.after == "1") return InsertBehindFirst(options);
  kz::PageRange place;
  if (options.after != "0") {
    place = ParsePages("--after", options.after);
    if (!place.IsSinglePage()) throw UsageError("--after: there is one place to insert at");
  }
  return InsertAnywhere(options, place);
}

}  // namespace

void AddInsert(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("insert", "Add pictures behind a page of a document");
  command->footer("If anything fails, the document is what it was.");
  auto options = std::make_shared<InsertOptions>();
  command->add_option("FILE", options->file, "Document to change")->required();
  command->add_option("IN", options->inputs, "Pictures")->required();
  command
      ->add_option("--after", options->after,
                   "Page to insert them behind; 0 is before the first, z the last")
      ->required()
      ->type_name("N");
  AddPageOptions(*command, options->pages);
  AddContainerOption(*command, options->container);
  command->callback([options, &exit] { exit = Insert(*options); });
}

}  // namespace kzica
