// Groups and tags of a document as contents of its pages.
#pragma once

#include <string>
#include <vector>

#include "Toolkit/Base/Tested.h"
#include "Toolkit/Documents/PageIndex.h"

namespace kz {

struct ContentsEntry {
  int level = 0;     // 0: in no other
  std::string name;  // without control characters
  size_t page = 0;   // that it leads to, by its place among the pages that were asked for
};

// Entries of contents; a document may have more groups and tags.
constexpr size_t kMostContents = 50'000;

// Entries for the groups of a document and, after each group's name, for its tags and those of
// its pages; those that lead to none of the pages are left out.
KZ_TESTED std::vector<ContentsEntry> ContentsOf(const PageIndex& index,
                                                const std::vector<int>& pages);

}  // namespace kz
