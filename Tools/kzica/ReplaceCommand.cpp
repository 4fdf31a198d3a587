// kzica replace: a picture in the place of a page of a document.
#include <memory>

#include "Host/Toolkit/PictureFile.h"
#include "Tools/kzica/Documents.h"

namespace kzica {

namespace {

struct ReplaceOptions {
  std::string file;
  std::string input;
  std::string page;
  std::string container;
  PageOptions pages;
};

Exit ReplaceSecond(const ReplaceOptions& options) {
  Edit edit;
  Exit exit = edit.Begin(options.file, false);
  if (exit != kDone) return exit;
  edit.KeepContainer(options.container);
  const PageSaver saver(options.pages, edit.DocumentContainer(), options.file);
  exit = ForEachPicture({options.input}, false, [&](Picture& picture) {
    return saver.Save(edit.Path(), picture, kz::SaveMode::kReplaceSecond);
  });
  return exit == kDone ? edit.Commit() : exit;
}

Exit RefuseSeveralPages(const std::string& input) {
  kz::PictureReader reader;
  const kz::Outcome outcome = reader.Open(input);
  if (!outcome.Ok()) return Complain({input}, outcome);
  if (reader.Pages() <= 1) return kDone;
  return Complain({input}, kz::Failure(K_ERROR_INVALID_FORMAT, "several pages can't replace one"));
}

Exit Replace(const ReplaceOptions& options) {
  const kz::PageRange range = ParsePages("--page", options.page);
  if (!range.IsSinglePage()) throw UsageError("--page: one page is replaced at a time");
  Exit exit = RefuseSeveralPages(options.input);
  if (exit != kDone) return exit;
  kz::PageIndex target;
  const bool indexed = kz::IndexPages(options.file, target).Ok();
  // The filter replaces page 2 and all that stands before it up to page 1.
  if (options.page == "2" && (!indexed || target.SecondFollowsFirst())) {
    return ReplaceSecond(options);
  }

  PicturePages picture;
  exit = picture.Make({options.input}, options.pages, options.container, options.file);
  if (exit == kDone) exit = IndexFile(options.file, target);
  std::vector<int> page;
  if (exit == kDone) exit = ChoosePages(target, range, page);
  if (exit != kDone) return exit;
  const kz::Outcome outcome = kz::ReplacePage(target, page[0], picture.Picks(), options.file);
  return outcome.Ok() ? kDone : Complain({options.file}, outcome);
}

}  // namespace

void AddReplace(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("replace", "Put a picture in the place of a page");
  command->footer("If anything fails, the document is what it was.");
  auto options = std::make_shared<ReplaceOptions>();
  command->add_option("FILE", options->file, "Document to change")->required();
  command->add_option("IN", options->input, "Picture of one page")->required();
  command->add_option("-p,--page", options->page, "Page to replace; z is the last")
      ->required()
      ->type_name("N");
  AddPageOptions(*command, options->pages);
  AddContainerOption(*command, options->container);
  command->callback([options, &exit] { exit = Replace(*options); });
}

}  // namespace kzica
