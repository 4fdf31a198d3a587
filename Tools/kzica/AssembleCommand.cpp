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
};

// FILE or FILE:PAGES. A file of the whole name goes first.
struct PagesOfFile {
  std::string file;
  kz::PageRange range;
};

PagesOfFile SplitArgument(const std::string& argument) {
  PagesOfFile result{argument, {}};
  const size_t colon = argument.rfind(':');
  std::error_code ignored;
  if (colon != std::string::npos && !std::filesystem::exists(argument, ignored) &&
      result.range.Parse(argument.substr(colon + 1)).Ok()) {
    result.file = argument.substr(0, colon);
    return result;
  }
  result.range = ParsePages("FILE", "1-z");
  return result;
}

Exit Assemble(const AssembleOptions& options) {
  RefuseTerminal(options.out);
  std::map<std::string, kz::PageIndex> indexes;
  std::vector<kz::PagePick> picks;
  for (const std::string& input : options.inputs) {
    PagesOfFile wanted = SplitArgument(input);
    if (OpenInput(wanted.file) != kDone) return kFileFailed;
    const auto [entry, added] = indexes.try_emplace(wanted.file);
    kz::PageIndex& index = entry->second;
    Exit exit = added ? IndexToEdit(wanted.file, index) : kDone;
    std::vector<int> pages;
    if (exit == kDone) exit = ChoosePages(index, wanted.range, pages);
    if (exit != kDone) return exit;
    for (const int page : pages) picks.push_back({&index, page});
  }
  return WriteTo(options.out, kz::AssembleDocument(picks));
}

}  // namespace

void AddAssemble(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("assemble", "Make a document of pages of others");
  command->footer(
      "PAGES are like 2, 1,3-5, 9- or z, the last; 5-1 goes backwards. Pages are copied as they\n"
      "are. The first document gives what stands before and behind the pages; bare images get\n"
      "a page around them. A page that needs a resource group brings it along, but included\n"
      "images are put into the page. OUT - is standard output; it may be one of the files.");
  auto options = std::make_shared<AssembleOptions>();
  command->add_option("OUT", options->out, "Document to write")->required();
  command->add_option("FILE", options->inputs, "Files, and which of their pages, in order")
      ->required()
      ->type_name("FILE[:PAGES]");
  AddNoWait(*command);
  command->callback([options, &exit] { exit = Assemble(*options); });
}

}  // namespace kzica
