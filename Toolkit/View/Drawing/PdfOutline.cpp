#include "Toolkit/View/Drawing/PdfOutline.h"

#include <cairo-pdf.h>

#include <map>

#include "Toolkit/Base/Printable.h"

namespace kz {

namespace {

// UTF-8 without control characters, which is what an entry may be.
std::string Shown(const std::string& text) { return Printable(text, Unprintable::Blank); }

class Outline {
 public:
  Outline(cairo_surface_t* pdf, const PageIndex& index, const std::vector<int>& pages)
      : m_pdf(pdf), m_index(index) {
    for (size_t i = 0; i < pages.size(); ++i) m_places.emplace(pages[i], static_cast<int>(i) + 1);
  }

  void Add() {
    std::vector<int> ids(m_index.groups.size(), CAIRO_PDF_OUTLINE_ROOT);
    std::vector<int> targets(m_index.groups.size(), 0);
    size_t tag = 0;
    for (size_t i = 0; i < m_index.groups.size(); ++i) {
      const IndexedGroup& group = m_index.groups[i];
      const auto place = m_places.lower_bound(group.firstPage);
      const bool there = place != m_places.end() && place->first < group.firstPage + group.pages;
      const bool nested = group.parent != kNoIndex && group.parent < i;
      const int parent = nested ? ids[group.parent] : CAIRO_PDF_OUTLINE_ROOT;
      ids[i] = there ? AddEntry(parent, group.name, place->second) : parent;
      targets[i] = there ? place->second : 0;
    }
    for (; tag < m_index.tags.size(); ++tag) {
      const IndexedTag& one = m_index.tags[tag];
      const bool inGroup = one.group != kNoIndex && one.group < ids.size();
      const int parent = inGroup ? ids[one.group] : CAIRO_PDF_OUTLINE_ROOT;
      const auto place = m_places.find(one.page);
      const int target = one.page > 0 ? (place != m_places.end() ? place->second : 0)
                         : inGroup    ? targets[one.group]
                                      : 0;
      if (target > 0) AddEntry(parent, one.name + ": " + one.value, target);
    }
  }

 private:
  int AddEntry(int parent, const std::string& name, int page) {
    if (m_entries++ >= kMostOutlineEntries) return parent;
    const std::string link = "page=" + std::to_string(page) + " pos=[0 0]";
    return cairo_pdf_surface_add_outline(m_pdf, parent, Shown(name).c_str(), link.c_str(),
                                         static_cast<cairo_pdf_outline_flags_t>(0));
  }

  cairo_surface_t* m_pdf;
  const PageIndex& m_index;
  std::map<int, int> m_places;  // in the file, by pages of the document
  size_t m_entries = 0;
};

}  // namespace

void AddOutline(cairo_surface_t* pdf, const PageIndex& index, const std::vector<int>& pages,
                const std::string& title) {
  const IndexedGroup* only = nullptr;
  bool several = false;
  for (const IndexedGroup& group : index.groups) {
    if (group.parent != kNoIndex) continue;
    several |= only != nullptr;
    only = &group;
  }
  const std::string& named =
      only != nullptr && !several && !only->name.empty() ? only->name : title;
  if (!named.empty()) {
    cairo_pdf_surface_set_metadata(pdf, CAIRO_PDF_METADATA_TITLE, Shown(named).c_str());
  }
  Outline(pdf, index, pages).Add();
}

}  // namespace kz
