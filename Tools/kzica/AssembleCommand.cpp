// kzica assemble: a document of the pages of others.
#include <filesystem>
#include <map>
#include <memory>

#include "Tools/kzica/Documents.h"
#include "Tools/kzica/Input.h"

namespace kzica {

namespace {

struct AssembleOptions {
  std::string out;
  std::vector<std::string> inputs;
  SelectionOptions selection;
  DeedReport report;
};

// FILE or FILE:PAGES. A file of the whole name goes first.
struct PagesOfFile {
  std::string file;
  std::string pages;  // empty: all
};

PagesOfFile SplitArgument(const std::string& argument) {
  PagesOfFile result{argument, {}};
  const size_t colon = argument.rfind(':');
  std::error_code ignored;
  if (colon != std::string::npos && !std::filesystem::exists(argument, ignored) &&
      kz::PageRange().Parse(argument.substr(colon + 1)).Ok()) {
    result = {argument.substr(0, colon), argument.substr(colon + 1)};
  }
  return result;
}

Exit Assemble(const AssembleOptions& options) {
  SelectionOptions selection = options.selection;
  (void)SelectionOf(selection);
  if (!options.report.IsDryRun()) RefuseTerminal(options.out);
  std::map<std::string, kz::PageIndex> indexes;
  std::vector<kz::PagePick> picks;
  for (const std::string& input : options.inputs) {
    PagesOfFile wanted = SplitArgument(input);
    if (OpenInput(wanted.file) != kDone) return kFileFailed;
    const auto [entry, added] = indexes.try_emplace(wanted.file);
    kz::PageIndex& index = entry->second;
    Exit exit = added ? IndexToEdit(wanted.file, index) : kDone;
    selection.pages = wanted.pages;
    std::vector<int> pages;
    if (exit == kDone) exit = SelectPages(index, SelectionOf(selection), pages);
    if (exit != kDone) return exit;
    for (const int page : pages) picks.push_back({&index, page});
  }
  const kz::DocumentEdit edit = kz::AssembleDocument(picks);
  Exit exit = kDone;
  if (options.report.IsDryRun()) {
    const kz::Outcome outcome = kz::CheckDocument(edit);
    if (!outcome.Ok()) exit = Complain({options.out}, outcome);
  } else {
    exit = WriteTo(options.out, edit);
  }
  if (exit != kDone) return exit;
  options.report.Say({"assembled", "assemble",
                      Count(picks.size(), "page") + " of " + Count(indexes.size(), "file")},
                     options.out);
  return kDone;
}

}  // namespace

void AddAssemble(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("assemble", "Make a document of pages of others");
  command->footer(
      "PAGES are like 2, 1,3-5, 9- or z, the last; 5-1 goes backwards. Pages are copied as they\n"
      "are, with the page groups and tags around them; --group and --tag are looked for in\n"
      "every FILE. The first document gives what stands before and after the pages; bare images\n"
      "get a page around them. A page that needs a resource group brings it along, but included\n"
      "images are put into the page. OUT - is standard output; it may be one of the files.");
  auto options = std::make_shared<AssembleOptions>();
  command->add_option("OUT", options->out, "Document to write")->required();
  command->add_option("FILE", options->inputs, "Files, and which of their pages, in order")
      ->required()
      ->type_name("FILE[:PAGES]");
  AddSelection(*command, options->selection, "");
  options->report.AddOptions(*command);
  AddNoWait(*command);
  command->callback([options, &exit] { exit = Assemble(*options); });
}

}  // namespace kzica
