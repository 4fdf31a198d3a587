// kzica replace: a picture in the place of a page of a document.
#include <memory>

#include "Host/Toolkit/PictureFile.h"
#include "Tools/kzica/Pages.h"

namespace kzica {

namespace {

struct ReplaceOptions {
  std::string file;
  std::string input;
  int page = 0;
  std::string container;
  PageOptions pages;
};

Exit Replace(const ReplaceOptions& options) {
  if (options.page != 2) throw UsageError("--page: page 2 is the only one that can be replaced");
  Edit edit;
  Exit exit = edit.Begin(options.file, false);
  if (exit != kDone) return exit;
  edit.KeepContainer(options.container);
  const PageSaver saver(options.pages, edit.DocumentContainer(), options.file);
  exit = ForEachPicture({options.input}, false, [&](Picture& picture) {
    if (picture.source.page > 0) {
      return Complain({options.input},
                      kz::Failure(K_ERROR_INVALID_FORMAT, "several pages can't replace one"));
    }
    return saver.Save(edit.Path(), picture, kz::SaveMode::kReplaceSecond);
  });
  return exit == kDone ? edit.Commit() : exit;
}

}  // namespace

void AddReplace(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("replace", "Put a picture in the place of a page");
  command->footer("If anything fails, the document is what it was.");
  auto options = std::make_shared<ReplaceOptions>();
  command->add_option("FILE", options->file, "Document to change")->required();
  command->add_option("IN", options->input, "Picture of one page")->required();
  command->add_option("-p,--page", options->page, "Page to replace")->required()->type_name("N");
  AddPageOptions(*command, options->pages);
  AddContainerOption(*command, options->container);
  command->callback([options, &exit] { exit = Replace(*options); });
}

}  // namespace kzica
