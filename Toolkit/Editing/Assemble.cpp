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

// Adds pages, and what stands between two that stay neighbours.
void AddPages(DocumentEdit& edit, const std::vector<PagePick>& picks) {
  for (size_t i = 0; i < picks.size(); ++i) {
    const PageIndex& index = *picks[i].source;
    const int page = picks[i].page;
    if (!HasPage(index, page)) {
      edit = Refused(index.file + ": " + NoSuchPage(index, page));
      return;
    }
    const bool neighbours = i > 0 && picks[i - 1].source == &index && picks[i - 1].page == page - 1;
    if (neighbours && !index.divided) {
      Keep(edit, index, {PageOf(index, page - 1).bytes.end, PageOf(index, page).bytes.begin});
    }
    edit.parts.push_back({&index, page, {}});
  }
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
    const int64_t end = home->Tail().begin;
    return Splice(*home, {end, end}, {pages.begin() + own, pages.end()});
  }
  DocumentEdit edit = EditOf(home, false);
  if (home != nullptr)
    Keep(edit, *home, {0, home->divided ? home->plainHeadEnd : home->Head().end});
  AddPages(edit, pages);
  if (home != nullptr && edit.refusal.Ok()) {
    Keep(edit, *home, home->divided ? home->endDocument : home->Tail());
  }
  return edit;
}

DocumentEdit SplitPage(const PageIndex& index, int page) {
  if (!HasPage(index, page)) return Refused(NoSuchPage(index, page));
  if (!index.bare) return AssembleDocument({{&index, page}});
  DocumentEdit edit = EditOf(&index, true);
  Keep(edit, index, index.pages[0].bytes);
  return edit;
}

}  // namespace kz
