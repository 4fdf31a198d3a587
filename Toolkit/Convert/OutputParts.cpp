#include "Toolkit/Convert/OutputParts.h"

#include <set>
#include <utility>

namespace kz {

namespace {

// The outermost group that each group is in.
std::vector<uint32_t> TopGroups(const PageIndex& index) {
  // Groups stand after those that they are in.
  std::vector<uint32_t> tops;
  tops.reserve(index.groups.size());
  for (const IndexedGroup& group : index.groups) {
    tops.push_back(group.parent == kNoIndex ? static_cast<uint32_t>(tops.size())
                                            : tops[group.parent]);
  }
  return tops;
}

std::vector<OutputPart> PartsWithoutPages(const Document& document, OutputPer per) {
  std::vector<OutputPart> parts;
  if (per != OutputPer::Page) return {OutputPart{}};
  for (int picture = 1; picture <= document.Pictures(); ++picture) {
    parts.push_back({static_cast<size_t>(picture), kNoIndex, 0, 0, picture});
  }
  return parts;
}

}  // namespace

std::vector<OutputPart> FindParts(const Document& document, OutputPer per) {
  const PageIndex& index = document.Index();
  const int pages = document.Pages();
  if (pages == 0) return PartsWithoutPages(document, per);
  if (per == OutputPer::Document) return {{1, kNoIndex, 1, pages}};
  const std::vector<uint32_t> tops = TopGroups(index);
  std::vector<OutputPart> parts;
  for (int page = 1; page <= pages; ++page) {
    const uint32_t own = index.pages[static_cast<size_t>(page) - 1].group;
    const uint32_t top = own == kNoIndex ? own : tops[own];
    if (per == OutputPer::Page || parts.empty() || parts.back().group != top) {
      parts.push_back({parts.size() + 1, top, page, 0});
    }
    ++parts.back().pages;
  }
  return parts;
}

std::vector<PartPicture> PicturesOf(const Document& document, const OutputPart& part,
                                    std::vector<int>& without) {
  std::vector<PartPicture> pictures;
  if (part.firstPage == 0) {
    const int last = part.picture > 0 ? part.picture : document.Pictures();
    for (int picture = part.picture > 0 ? part.picture : 1; picture <= last; ++picture) {
      pictures.push_back({{&document, picture}, 0});
    }
    return pictures;
  }
  std::set<std::pair<const Document*, int>> taken;
  for (int page = part.firstPage; page < part.firstPage + part.pages; ++page) {
    const std::vector<ShownPicture> shown = document.PicturesOnPage(page);
    if (shown.empty()) without.push_back(page);
    const size_t before = pictures.size();
    for (const ShownPicture& one : shown) {
      if (taken.emplace(one.document, one.picture).second) pictures.push_back({one, page});
    }
    if (pictures.size() == before) {
      for (const ShownPicture& one : shown) pictures.push_back({one, page});
    }
    if (pictures.size() > PageIndex::kMostShownInAll) break;
  }
  return pictures;
}

std::string GroupName(const Document& document, const OutputPart& part) {
  if (part.group == kNoIndex) return "ungrouped";
  return document.Index().groups[part.group].name;
}

}  // namespace kz
