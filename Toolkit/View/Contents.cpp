#include "Toolkit/View/Contents.h"

#include <algorithm>
#include <map>

#include "Toolkit/Base/Printable.h"

namespace kz {

namespace {

std::string Shown(const std::string& text) { return Printable(text, Unprintable::Blank); }

// Groups and tags in the order in which they are read.
class Contents {
 public:
  Contents(const PageIndex& index, const std::vector<int>& pages) : m_index(index) {
    for (size_t i = 0; i < pages.size(); ++i) m_places.emplace(pages[i], i);
  }

  std::vector<ContentsEntry> Take() {
    m_tags.resize(m_index.groups.size() + 1);
    for (size_t i = 0; i < m_index.tags.size(); ++i) {
      const uint32_t group = m_index.tags[i].group;
      m_tags[group < m_index.groups.size() ? group + 1 : 0].push_back(i);
    }
    AddTags(0, 0);
    std::vector<int> levels(m_index.groups.size(), 0);
    for (size_t i = 0; i < m_index.groups.size(); ++i) {
      const IndexedGroup& group = m_index.groups[i];
      const auto place = m_places.lower_bound(group.firstPage);
      if (place == m_places.end() || place->first >= group.firstPage + group.pages) continue;
      const bool nested = group.parent != kNoIndex && group.parent < i;
      const int level = nested ? levels[group.parent] : 0;
      levels[i] = level + 1;
      Add({level, Shown(group.name), place->second});
      m_groupPlace = place->second;
      AddTags(i + 1, level + 1);
    }
    return std::move(m_entries);
  }

 private:
  void AddTags(size_t group, int level) {
    for (const size_t i : m_tags[group]) {
      const IndexedTag& tag = m_index.tags[i];
      const auto place = m_places.find(tag.page);
      const bool ofGroup = tag.page == 0 && group > 0;
      if (place == m_places.end() && !ofGroup) continue;
      Add({level, Shown(tag.name + ": " + tag.value), ofGroup ? m_groupPlace : place->second});
    }
  }

  void Add(ContentsEntry entry) {
    if (m_entries.size() < kMostContents) m_entries.push_back(std::move(entry));
  }

  const PageIndex& m_index;
  std::map<int, size_t> m_places;           // by pages of the document
  std::vector<std::vector<size_t>> m_tags;  // of no group, then of each
  size_t m_groupPlace = 0;
  std::vector<ContentsEntry> m_entries;
};

}  // namespace

std::vector<ContentsEntry> ContentsOf(const PageIndex& index, const std::vector<int>& pages) {
  return Contents(index, pages).Take();
}

}  // namespace kz
