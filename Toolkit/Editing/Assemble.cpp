#include "Toolkit/Editing/Assemble.h"

#include <algorithm>

namespace kz {

namespace {

bool HasPage(const PageIndex& index, int page) {
  return page >= 1 && static_cast<size_t>(page) <= index.pages.size();
}

const IndexedPage& PageOf(const PageIndex& index, int page) {
  return index.pages[static_cast<size_t>(page) - 1];
}

DocumentEdit Refused(std::string what) {
  DocumentEdit edit;
  edit.refusal = Failure(K_ERROR_INVALID_FORMAT, std::move(what));
  return edit;
}

std::string NoSuchPage(const PageIndex& index, int page) {
  return "there is no page " + std::to_string(page) + ", the last is page " +
         std::to_string(index.pages.size());
}

// A new document around the pages; null: one of its own.
DocumentEdit EditOf(const PageIndex* home, bool pagesStay) {
  DocumentEdit edit;
  edit.home = home;
  edit.pagesStay = pagesStay;
  return edit;
}

void Keep(DocumentEdit& edit, const PageIndex& source, ByteRange range) {
  if (range.Size() > 0) edit.parts.push_back({&source, 0, range});
}

// How deep page groups may be nested that are kept around pages.
constexpr size_t kMaxGroupDepth = 100;

// The page groups around a page.
struct AroundPage {
  std::vector<uint32_t> groups;  // that can be kept around it, the outermost first
  uint32_t others = kNoIndex;    // the innermost group around those that can't
  bool tooDeep = false;
};

AroundPage Around(const PageIndex& index, int page) {
  AroundPage around;
  uint32_t group = PageOf(index, page).group;
  // Groups without an end of their own, or of several documents, stand around all others.
  for (; group != kNoIndex && index.groups[group].whole; group = index.groups[group].parent) {
    around.tooDeep = around.groups.size() == kMaxGroupDepth;
    if (around.tooDeep) return around;
    around.groups.push_back(group);
  }
  around.others = group;
  std::reverse(around.groups.begin(), around.groups.end());
  return around;
}

// Adds pages to an edit with the page groups around them, and what stands between two
// that stay neighbours.
class PageAdder {
 public:
  explicit PageAdder(DocumentEdit& edit) : m_edit(edit) {}

  // False, with the edit refused, for a page that can't be added.
  bool Add(const PagePick& pick) {
    const PageIndex& index = *pick.source;
    const int page = pick.page;
    if (!HasPage(index, page)) return Refuse(index, NoSuchPage(index, page));
    AroundPage around = Around(index, page);
    if (around.tooDeep) return Refuse(index, "page groups are nested too deep");
    const bool sameSource = m_source == &index;
    const bool follows =
        sameSource && m_page == page - 1 && m_around.others == around.others &&
        !std::binary_search(index.laterDocuments.begin(), index.laterDocuments.end(), page);
    if (follows) {
      Keep(m_edit, index, {PageOf(index, m_page).bytes.end, PageOf(index, page).bytes.begin});
    } else {
      size_t common = 0;
      const size_t most = std::min(m_around.groups.size(), around.groups.size());
      while (sameSource && common < most && m_around.groups[common] == around.groups[common]) {
        ++common;
      }
      EndGroups(common);
      for (; common < around.groups.size(); ++common) {
        const IndexedGroup& group = index.groups[around.groups[common]];
        Keep(m_edit, index, {group.bytes.begin, group.headEnd});
      }
    }
    m_edit.parts.push_back({&index, page, {}});
    m_source = &index;
    m_page = page;
    m_around = std::move(around);
    return true;
  }

  // Ends the groups that are open, but for some outer ones.
  void EndGroups(size_t kept = 0) {
    while (m_around.groups.size() > kept) {
      const IndexedGroup& group = m_source->groups[m_around.groups.back()];
      Keep(m_edit, *m_source, {group.tailBegin, group.bytes.end});
      m_around.groups.pop_back();
    }
  }

 private:
  bool Refuse(const PageIndex& index, const std::string& what) {
    m_edit = Refused(index.file + ": " + what);
    return false;
  }

  DocumentEdit& m_edit;
  const PageIndex* m_source = nullptr;  // of the page added last
  int m_page = 0;
  AroundPage m_around;
};

void AddPages(DocumentEdit& edit, const std::vector<PagePick>& picks) {
  PageAdder adder(edit);
  for (const PagePick& pick : picks) {
    if (!adder.Add(pick)) return;
  }
  adder.EndGroups();
}

// Where the last page and the groups around it end.
int64_t EndOfPages(const PageIndex& index) {
  const AroundPage around = Around(index, static_cast<int>(index.pages.size()));
  return around.groups.empty() || around.tooDeep ? index.Tail().begin
                                                 : index.groups[around.groups.front()].bytes.end;
}

// The document with the pages in the place of a range of its bytes.
DocumentEdit Splice(const PageIndex& target, ByteRange replaced,
                    const std::vector<PagePick>& pages) {
  DocumentEdit edit = EditOf(&target, true);
  Keep(edit, target, {0, replaced.begin});
  AddPages(edit, pages);
  if (edit.refusal.Ok()) Keep(edit, target, {replaced.end, target.Size()});
  return edit;
}

// What can't be done with a target, whatever the pages are; empty: nothing.
std::string Objection(const PageIndex& target, const std::vector<PagePick>& pages) {
  if (target.bare) {
    return "a bare IOCA file is a single image; a document can be assembled from it";
  }
  return pages.empty() ? "there are no pages to put in" : "";
}

// Whether the first picks are all pages of the document in their order.
bool BeginsWithAllOf(const PageIndex& index, const std::vector<PagePick>& pages) {
  if (pages.size() < index.pages.size()) return false;
  for (size_t i = 0; i < index.pages.size(); ++i) {
    if (pages[i].source != &index || pages[i].page != static_cast<int>(i) + 1) return false;
  }
  return true;
}

}  // namespace

std::vector<PagePick> AllPages(const PageIndex& index) {
  std::vector<PagePick> picks;
  for (size_t i = 0; i < index.pages.size(); ++i)
    picks.push_back({&index, static_cast<int>(i) + 1});
  return picks;
}

DocumentEdit InsertPages(const PageIndex& target, int after, const std::vector<PagePick>& pages) {
  std::string objection = Objection(target, pages);
  if (objection.empty() && after != 0 && !HasPage(target, after)) {
    objection = NoSuchPage(target, after);
  }
  if (!objection.empty()) return Refused(std::move(objection));
  const int64_t place = after == 0 ? target.Head().end : PageOf(target, after).bytes.end;
  return Splice(target, {place, place}, pages);
}

DocumentEdit AppendPages(const PageIndex& target, const std::vector<PagePick>& pages) {
  std::string objection = Objection(target, pages);
  if (!objection.empty()) return Refused(std::move(objection));
  return Splice(target, {target.appendAt, target.appendAt}, pages);
}

DocumentEdit ReplacePage(const PageIndex& target, int page, const std::vector<PagePick>& pages) {
  std::string objection = Objection(target, pages);
  if (objection.empty() && !HasPage(target, page)) objection = NoSuchPage(target, page);
  if (!objection.empty()) return Refused(std::move(objection));
  return Splice(target, PageOf(target, page).bytes, pages);
}

DocumentEdit DeletePages(const PageIndex& target, const std::vector<int>& pages) {
  std::vector<int> sorted = pages;
  std::sort(sorted.begin(), sorted.end());
  sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
  for (const int page : sorted) {
    if (!HasPage(target, page)) return Refused(NoSuchPage(target, page));
  }
  if (target.bare) return Refused("a bare IOCA file is a single image, which can't be removed");
  if (sorted.size() == target.pages.size()) {
    return Refused("the last page of a document can't be removed");
  }
  DocumentEdit edit = EditOf(&target, true);
  int64_t kept = 0;
  for (const int page : sorted) {
    const ByteRange removed = PageOf(target, page).bytes;
    Keep(edit, target, {kept, removed.begin});
    kept = removed.end;
  }
  Keep(edit, target, {kept, target.Size()});
  return edit;
}

DocumentEdit AssembleDocument(const std::vector<PagePick>& pages) {
  if (pages.empty()) return Refused("a document needs at least one page");
  const auto document = std::find_if(pages.begin(), pages.end(),
                                     [](const PagePick& pick) { return !pick.source->bare; });
  const PageIndex* home = document != pages.end() ? document->source : nullptr;
  if (home != nullptr && BeginsWithAllOf(*home, pages)) {
    const auto own = static_cast<std::ptrdiff_t>(home->pages.size());
    const int64_t end = EndOfPages(*home);
    return Splice(*home, {end, end}, {pages.begin() + own, pages.end()});
  }
  DocumentEdit edit = EditOf(home, false);
  if (home != nullptr) Keep(edit, *home, {0, home->plainHeadEnd});
  AddPages(edit, pages);
  if (home != nullptr && edit.refusal.Ok()) {
    const bool one = home->laterDocuments.empty();
    Keep(edit, *home, one ? ByteRange{EndOfPages(*home), home->Size()} : home->endDocument);
  }
  return edit;
}

DocumentEdit SplitPages(const PageIndex& index, const std::vector<int>& pages) {
  std::vector<PagePick> picks;
  for (const int page : pages) {
    if (!HasPage(index, page)) return Refused(NoSuchPage(index, page));
    picks.push_back({&index, page});
  }
  if (!index.bare || picks.size() != 1) return AssembleDocument(picks);
  DocumentEdit edit = EditOf(&index, true);
  Keep(edit, index, index.pages[0].bytes);
  return edit;
}

DocumentEdit SplitPage(const PageIndex& index, int page) { return SplitPages(index, {page}); }

}  // namespace kz
