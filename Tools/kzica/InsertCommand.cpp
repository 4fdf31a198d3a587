// kzica insert: pictures behind a page of a document.
#include <memory>

#include "Tools/kzica/Pages.h"

namespace kzica {

namespace {

struct InsertOptions {
  std::string file;
  std::vector<std::string> inputs;
  int after = 0;
  std::string container;
  PageOptions pages;
};

Exit Insert(const InsertOptions& options) {
  if (options.after != 1) throw UsageError("--after: pages can be inserted behind page 1 only");
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

}  // namespace

void AddInsert(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("insert", "Add pictures behind a page of a document");
  command->footer("If anything fails, the document is what it was.");
  auto options = std::make_shared<InsertOptions>();
  command->add_option("FILE", options->file, "Document to change")->required();
  command->add_option("IN", options->inputs, "Pictures")->required();
  command->add_option("--after", options->after, "Page to insert them behind")
      ->required()
      ->type_name("N");
  AddPageOptions(*command, options->pages);
  AddContainerOption(*command, options->container);
  command->callback([options, &exit] { exit = Insert(*options); });
}

}  // namespace kzica
