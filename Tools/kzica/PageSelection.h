// Which pages a command is about: the options that say so, and the pages of a file.
#pragma once

#include <string>
#include <vector>

#include "Toolkit/Documents/Selection.h"
#include "Tools/kzica/Command.h"

namespace kzica {

struct SelectionOptions {
  std::string pages;
  std::vector<std::string> groups;
  std::vector<std::string> tags;
};

// Adds --group and --tag and, with a text for it, -p/--page.
void AddSelection(CLI::App& command, SelectionOptions& options, const std::string& pageText);
// What the options say; what can't be is a UsageError.
kz::Selection SelectionOf(const SelectionOptions& options);
// The pages of the file that are selected. Says what fails.
Exit SelectPages(const kz::PageIndex& index, const kz::Selection& selection,
                 std::vector<int>& pages);

// The same, or all pages when nothing is selected; a file without pages is said too.
Exit PagesToShow(const kz::PageIndex& index, const kz::Selection& selection,
                 std::vector<int>& pages);

// "page 2", "pages 1-3, 5", of numbers in any order.
std::string PageList(const std::vector<int>& pages);
// "1 page", "2 files".
std::string Count(size_t count, const std::string& noun);

}  // namespace kzica
