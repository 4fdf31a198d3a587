#include "Tools/kzica/PageSelection.h"

#include <algorithm>

namespace kzica {

void AddSelection(CLI::App& command, SelectionOptions& options, const std::string& pageText) {
  if (!pageText.empty()) {
    command.add_option("-p,--page", options.pages, pageText)->type_name("PAGES");
  }
  const auto add = [&](const char* name, std::vector<std::string>& values, const char* text,
                       const char* type) {
    command.add_option(name, values, text)->allow_extra_args(false)->type_name(type);
  };
  add("--group", options.groups, "Pages in the page group of this name", "NAME");
  add("--tag", options.tags, "Pages with this tag, of their own or of a group around them",
      "NAME=VALUE");
}

kz::Selection SelectionOf(const SelectionOptions& options) {
  kz::Selection selection;
  kz::Outcome outcome;
  if (!options.pages.empty()) outcome = selection.SetPages(options.pages);
  if (!outcome.Ok()) throw UsageError("--page: " + outcome.what);
  for (const std::string& group : options.groups) selection.AddGroup(group);
  for (const std::string& tag : options.tags) {
    outcome = selection.AddTag(tag);
    if (!outcome.Ok()) throw UsageError("--tag: " + outcome.what);
  }
  return selection;
}

Exit SelectPages(const kz::PageIndex& index, const kz::Selection& selection,
                 std::vector<int>& pages) {
  const kz::Outcome outcome = selection.Resolve(index, pages);
  return outcome.Ok() ? kDone : Complain({index.file}, outcome);
}

Exit PagesToShow(const kz::PageIndex& index, const kz::Selection& selection,
                 std::vector<int>& pages) {
  if (!selection.IsEmpty()) return SelectPages(index, selection, pages);
  pages = index.AllPages();
  if (!pages.empty()) return kDone;
  return Complain({index.file}, kz::Failure(K_ERROR_INVALID_FORMAT, "there is no page in it"));
}

std::string PageList(const std::vector<int>& pages) {
  std::vector<int> sorted = pages;
  std::sort(sorted.begin(), sorted.end());
  sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
  constexpr int mostStretches = 20;  // of pages that follow each other
  std::string list = sorted.size() == 1 ? "page " : "pages ";
  int stretches = 0;
  for (size_t i = 0; i < sorted.size(); ++stretches) {
    if (stretches == mostStretches) return Count(sorted.size(), "page");
    size_t end = i + 1;
    while (end < sorted.size() && sorted[end] == sorted[end - 1] + 1) ++end;
    if (i > 0) list += ", ";
    list += std::to_string(sorted[i]);
    if (end - i > 1) list += "-" + std::to_string(sorted[end - 1]);
    i = end;
  }
  return list;
}

std::string Count(size_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

}  // namespace kzica
