// kzica split: a file for each page.
#include <memory>

#include "Toolkit/Files/AtomicFile.h"
#include "Toolkit/Files/NumberedName.h"
#include "Tools/kzica/Documents.h"
#include "Tools/kzica/Input.h"

namespace kzica {

namespace {

struct SplitOptions {
  std::string file;
  std::string out;
  std::string pages = "1-z";
};

Exit Split(const SplitOptions& options) {
  const kz::PageRange range = ParsePages("--page", options.pages);
  if (!kz::IsNumbered(options.out) && !range.IsSinglePage()) {
    throw UsageError(options.out + ": several pages go into several files; the name needs a %d");
  }
  RefuseTerminal(options.out);
  kz::PageIndex index;
  std::vector<int> pages;
  Exit exit = IndexToEdit(options.file, index);
  if (exit == kDone) exit = ChoosePages(index, range, pages);
  if (exit != kDone) return exit;
  kz::FileBatch batch(
      [&](const std::string& out, const kz::Outcome& failed) { exit = Complain({out}, failed); });
  Progress progress(pages.size());
  for (size_t i = 0; i < pages.size() && exit == kDone; ++i) {
    const std::string out = kz::NumberedName(options.out, pages[i]);
    if (IsInput(options.file, out)) {
      throw UsageError(out + ": this is the file to split");
    }
    const Exit written = WriteTo(out, kz::SplitPage(index, pages[i]), &batch);
    if (written != kDone) exit = written;
    progress.Step();
  }
  batch.Finish();
  return exit;
}

}  // namespace

void AddSplit(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("split", "Make a file of each page of a document");
  command->footer(
      "%d in OUT, if no letter follows, is the page number, %03d the same with three digits; %% "
      "is\n"
      "a percent sign.");
  auto options = std::make_shared<SplitOptions>();
  command->add_option("FILE", options->file, "Document to take apart")->required();
  command->add_option("OUT", options->out, "Files to write, like page%d.mda")->required();
  command->add_option("-p,--page", options->pages, "Pages to write, like 2, 1,3-5, 9- or z")
      ->type_name("PAGES")
      ->capture_default_str();
  AddNoWait(*command);
  command->callback([options, &exit] {
    exit = OpenInput(options->file);
    if (exit == kDone) exit = Split(*options);
  });
}

}  // namespace kzica
