// kzica replace: a picture in the place of a page of a document.
#include <memory>

#include "Toolkit/Pictures/PictureFile.h"
#include "Tools/kzica/Documents.h"
#include "Tools/kzica/Input.h"

namespace kzica {

namespace {

struct ReplaceOptions {
  EditedDocument document;
  std::string input;
  std::string page;
  std::string container;
  PageOptions pages;
};

Exit RefuseSeveralPages(std::string input) {
  if (OpenInput(input) != kDone) return kFileFailed;
  kz::PictureReader reader;
  const kz::Outcome outcome = reader.Open(input);
  if (!outcome.Ok()) return Complain({input}, outcome);
  if (reader.Pages() <= 1) return kDone;
  return Complain({input}, kz::Failure(K_ERROR_INVALID_FORMAT, "several pages can't replace one"));
}

Exit Replace(ReplaceOptions& options) {
  const kz::PageRange range = ParsePages("--page", options.page);
  if (!range.IsSinglePage()) throw UsageError("--page: one page is replaced at a time");
  EditedDocument& document = options.document;
  PicturePages picture;
  std::vector<int> page;
  Exit exit = document.Begin();
  if (exit == kDone) exit = ChoosePages(document.Index(), range, page);
  if (exit == kDone) exit = RefuseSeveralPages(options.input);
  if (exit == kDone) {
    exit = picture.Make({options.input}, options.pages, options.container, document);
  }
  if (exit != kDone) return exit;
  const kz::PageIndex& index = document.Index();
  return document.Write(kz::ReplacePage(index, page[0], picture.Picks()),
                        {"replaced", "replace",
                         PageList(page) + " of " + std::to_string(index.pages.size()) + ": " +
                             index.PageWords(page)});
}

}  // namespace

void AddReplace(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("replace", "Put a picture in the place of a page");
  command->footer(
      "The page goes with all that is on it: --dry-run says what that is. If anything fails, the\n"
      "document is what it was.");
  auto options = std::make_shared<ReplaceOptions>();
  options->document.AddOptions(*command);
  command->add_option("IN", options->input, "Picture of one page")->required();
  command->add_option("-p,--page", options->page, "Page to replace; z is the last")
      ->required()
      ->type_name("N");
  AddPageOptions(*command, options->pages);
  AddContainerOption(*command, options->container);
  command->callback([options, &exit] { exit = Replace(*options); });
}

}  // namespace kzica
