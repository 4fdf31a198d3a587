// kzica append: pictures behind the last page of a document.
#include <memory>

#include "Tools/kzica/Pages.h"

namespace kzica {

namespace {

struct AppendOptions {
  std::string file;
  std::vector<std::string> inputs;
  std::string container;
  bool inPlace = false;
  PageOptions pages;
};

Exit Append(const AppendOptions& options) {
  Edit edit;
  Exit exit = edit.Begin(options.file, options.inPlace);
  if (exit != kDone) return exit;
  edit.KeepContainer(options.container);
  const PageSaver saver(options.pages, edit.DocumentContainer(), options.file);
  exit = ForEachPicture(options.inputs, false, [&](Picture& picture) {
    return saver.Save(edit.Path(), picture, kz::SaveMode::kAppend);
  });
  return exit == kDone ? edit.Commit() : exit;
}

}  // namespace

void AddAppend(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("append", "Add pictures behind a document's last page");
  command->footer(
      "A copy of the document gets the pages and takes its place when all are written; until\n"
      "then, and if anything fails, the document is what it was. --in-place writes into the\n"
      "document itself, whatever its length: a full disk, a crash or a picture that can't be\n"
      "read then leaves it with some of the pages, or damaged.");
  auto options = std::make_shared<AppendOptions>();
  command->add_option("FILE", options->file, "Document to change")->required();
  command->add_option("IN", options->inputs, "Pictures")->required();
  AddPageOptions(*command, options->pages);
  AddContainerOption(*command, options->container);
  command->add_flag("--in-place", options->inPlace,
                    "Don't copy the document; a failure may damage it");
  command->callback([options, &exit] { exit = Append(*options); });
}

}  // namespace kzica
