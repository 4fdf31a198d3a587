// kzica split: a file for each page, for some pages, or for each page group.
#include <charconv>
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
  SelectionOptions pages;
  std::string by;  // empty: a file for each page
  DeedReport report;
};

// The pages of one file, and the number in its name.
struct Part {
  int number;
  std::vector<int> pages;
};

std::string ByText(const std::string& by) {
  int pages = 0;
  const char* end = by.data() + by.size();
  const auto result = std::from_chars(by.data(), end, pages);
  const bool number = result.ec == std::errc() && result.ptr == end && pages > 0;
  return number || by == "group" ? "" : "'" + by + "' is neither group nor a number of pages";
}

// The outermost group that a page is in.
uint32_t TopGroup(const kz::PageIndex& index, const std::vector<uint32_t>& tops, int page) {
  const uint32_t group = index.pages[static_cast<size_t>(page) - 1].group;
  return group == kz::kNoIndex ? group : tops[group];
}

// By group: pages in none that follow each other have a file, too.
Exit PartsByGroup(const kz::PageIndex& index, const std::vector<int>& pages,
                  std::vector<Part>& parts) {
  if (index.groups.empty()) {
    return Complain({index.file}, kz::Failure(K_ERROR_INVALID_FORMAT, "it has no page groups"));
  }
  // Groups stand after those that they are in.
  std::vector<uint32_t> tops;
  for (const kz::IndexedGroup& group : index.groups) {
    tops.push_back(group.parent == kz::kNoIndex ? static_cast<uint32_t>(tops.size())
                                                : tops[group.parent]);
  }
  for (size_t i = 0; i < pages.size(); ++i) {
    const bool first =
        i == 0 || TopGroup(index, tops, pages[i]) != TopGroup(index, tops, pages[i - 1]);
    if (first) parts.push_back({static_cast<int>(parts.size()) + 1, {}});
    parts.back().pages.push_back(pages[i]);
  }
  return kDone;
}

std::vector<Part> PartsByCount(const std::vector<int>& pages, size_t count) {
  std::vector<Part> parts;
  for (size_t i = 0; i < pages.size(); ++i) {
    if (i % count == 0) parts.push_back({static_cast<int>(parts.size()) + 1, {}});
    parts.back().pages.push_back(pages[i]);
  }
  return parts;
}

Exit MakeParts(const SplitOptions& options, const kz::PageIndex& index,
               const std::vector<int>& pages, std::vector<Part>& parts) {
  if (options.by == "group") return PartsByGroup(index, pages, parts);
  if (!options.by.empty()) {
    parts = PartsByCount(pages, std::stoul(options.by));
    return kDone;
  }
  for (const int page : pages) parts.push_back({page, {page}});
  return kDone;
}

Exit WriteParts(const SplitOptions& options, const kz::PageIndex& index,
                const std::vector<Part>& parts) {
  Exit exit = kDone;
  kz::FileBatch batch(
      [&](const std::string& out, const kz::Outcome& failed) { exit = Complain({out}, failed); });
  Progress progress(parts.size(), "file");
  for (size_t i = 0; i < parts.size() && exit == kDone; ++i) {
    const std::string out = kz::NumberedName(options.out, parts[i].number);
    if (IsInput(options.file, out)) {
      throw UsageError(out + ": this is the file to split");
    }
    const kz::DocumentEdit edit = kz::SplitPages(index, parts[i].pages);
    Exit written = kDone;
    if (options.report.IsDryRun()) {
      const kz::Outcome outcome = kz::CheckDocument(edit);
      if (!outcome.Ok()) written = Complain({out}, outcome);
    } else {
      written = WriteTo(out, edit, &batch);
    }
    if (written != kDone) exit = written;
    progress.Step();
  }
  batch.Finish();
  return exit;
}

Exit Split(const SplitOptions& options) {
  const kz::Selection selection = SelectionOf(options.pages);
  const bool numbered = kz::IsNumbered(options.out);
  const std::string several = options.out + ": several files need a %d in the name";
  const bool byNumber =
      options.by.empty() && options.pages.groups.empty() && options.pages.tags.empty();
  if (!numbered && byNumber && !selection.IsSinglePage()) throw UsageError(several);
  if (!options.report.IsDryRun()) RefuseTerminal(options.out);
  kz::PageIndex index;
  std::vector<int> pages;
  std::vector<Part> parts;
  Exit exit = IndexToEdit(options.file, index);
  if (exit == kDone) exit = SelectPages(index, selection, pages);
  if (exit == kDone) exit = MakeParts(options, index, pages, parts);
  if (exit != kDone) return exit;
  if (!numbered && parts.size() > 1) throw UsageError(several);
  exit = WriteParts(options, index, parts);
  if (exit == kDone) {
    options.report.Say(
        {"split", "split", Count(pages.size(), "page") + " into " + Count(parts.size(), "file")},
        options.out);
  }
  return exit;
}

}  // namespace

void AddSplit(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("split", "Make a file of each page of a document");
  command->footer(
      "%d in OUT, if no letter follows, is the page number, %03d the same with three digits; %%\n"
      "is a percent sign. With --by, %d counts the files. Pages keep the page groups and tags\n"
      "around them. By group, pages in none have files of their own.");
  auto options = std::make_shared<SplitOptions>();
  command->add_option("FILE", options->file, "Document to take apart")->required();
  command->add_option("OUT", options->out, "Files to write, like page%d.mda")->required();
  AddSelection(*command, options->pages,
               "Pages to write, like 2, 1,3-5, 9- or z (the last), instead of all");
  command
      ->add_option("--by", options->by,
                   "A file for each outermost page group, or for every N pages, instead of each "
                   "page")
      ->check(CLI::Validator([](const std::string& by) { return ByText(by); }, ""))
      ->type_name("group|N");
  options->report.AddOptions(*command);
  AddNoWait(*command);
  command->callback([options, &exit] {
    exit = OpenInput(options->file);
    if (exit == kDone) exit = Split(*options);
  });
}

}  // namespace kzica
