// kzica text: the presentation text of a document.
#include <memory>

#include "Toolkit/Documents/Text.h"
#include "Tools/kzica/Documents.h"
#include "Tools/kzica/Input.h"

namespace kzica {

namespace {

struct TextOptions {
  std::string file;
  std::string pages;
  std::string encoding = kz::kDefaultEncoding;
};

Exit Text(TextOptions& options) {
  if (options.encoding != kz::kRawEncoding) CheckEncoding(options.encoding);
  if (OpenInput(options.file) != kDone) return kFileFailed;
  std::vector<int> pages = {0};
  if (!options.pages.empty()) {
    const kz::PageRange range = ParsePages("--page", options.pages);
    kz::PageIndex index;
    Exit exit = kDone;
    if (range.NeedsPageCount()) exit = IndexToEdit(options.file, index);
    if (exit == kDone && range.NeedsPageCount()) exit = ChoosePages(index, range, pages);
    if (exit == kDone && !range.NeedsPageCount()) {
      const kz::Outcome outcome = range.Resolve(0, pages);
      if (!outcome.Ok()) exit = Complain({options.file}, outcome);
    }
    if (exit != kDone) return exit;
  }
  std::vector<std::string> texts;
  const kz::Outcome outcome = kz::ReadTexts(options.file, pages, options.encoding, texts);
  // What stands before damage is text nevertheless.
  for (const std::string& text : texts) Print(text);
  return outcome.Ok() ? kDone : Complain({options.file}, outcome);
}

}  // namespace

void AddText(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("text", "Print the text of a document in UTF-8");
  auto options = std::make_shared<TextOptions>();
  command->add_option("FILE", options->file, "Document to read")->required();
  command->add_option("-p,--page", options->pages, "Pages, like 2, 1,3-5, 9- or z, instead of all")
      ->type_name("PAGES");
  command
      ->add_option("-e,--encoding", options->encoding,
                   "Encoding of the document's text, as iconv calls it; raw prints the bytes")
      ->capture_default_str();
  command->callback([options, &exit] { exit = Text(*options); });
}

}  // namespace kzica
