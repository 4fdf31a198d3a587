// kzica append: pictures after the last page of a document.
#include <memory>

#include "Tools/kzica/Documents.h"

namespace kzica {

namespace {

struct AppendOptions {
  EditedDocument document;
  std::vector<std::string> inputs;
  std::string container;
  bool inPlace = false;
  PageOptions pages;
};

Exit Append(AppendOptions& options) {
  EditedDocument& document = options.document;
  PicturePages pictures;
  Exit exit = document.Begin(options.inPlace);
  if (exit == kDone) {
    exit = pictures.Make(options.inputs, options.pages, options.container, document);
  }
  if (exit != kDone) return exit;
  const std::vector<kz::PagePick> picks = pictures.Picks();
  Deed deed = {"appended", "append", Count(picks.size(), "page")};
  if (!options.inPlace) {
    const size_t pages = document.Index().pages.size();
    if (pages > 0) deed.what += " after page " + std::to_string(pages);
    return document.Write(kz::AppendPages(document.Index(), picks), deed);
  }
  kz::Outcome outcome;
  if (!document.IsDryRun()) outcome = kz::AppendInPlace(document.File(), pictures.Index());
  if (!outcome.Ok()) return Complain({document.File()}, outcome);
  document.SayDone(deed);
  return kDone;
}

}  // namespace

void AddAppend(CLI::App& app, Exit& exit) {
  CLI::App* command =
      app.add_subcommand("append", "Add pictures as pages after a document's last page");
  command->footer(
      "A new document with the pages takes the document's place when it is complete; until\n"
      "then, and if anything fails, the document is what it was. --in-place writes into the\n"
      "document itself, whatever its length, and doesn't look whether it is sound; a crash\n"
      "while it writes leaves it damaged. The document is locked meanwhile: another command that\n"
      "changes it waits, for a minute at most while nothing happens.");
  auto options = std::make_shared<AppendOptions>();
  options->document.AddOptions(*command);
  command->add_option("IN", options->inputs, "Pictures")->required();
  AddPageOptions(*command, options->pages);
  AddContainerOption(*command, options->container);
  command
      ->add_flag("--in-place", options->inPlace,
                 "Don't copy the document, and keep its hard links; a crash may damage it")
      ->excludes(command->get_option("--output"));
  command->callback([options, &exit] { exit = Append(*options); });
}

}  // namespace kzica
