#include "Toolkit/View/Drawing/PdfOutline.h"

#include <cairo-pdf.h>

#include <algorithm>

#include "Toolkit/Base/Printable.h"
#include "Toolkit/View/Contents.h"

namespace kz {

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
    const std::string shown = Printable(named, Unprintable::Blank);
    cairo_pdf_surface_set_metadata(pdf, CAIRO_PDF_METADATA_TITLE, shown.c_str());
  }
  std::vector<int> open;  // the last entry of each level
  for (const ContentsEntry& entry : ContentsOf(index, pages)) {
    open.resize(std::min(static_cast<size_t>(entry.level), open.size()));
    const std::string link = "page=" + std::to_string(entry.page + 1) + " pos=[0 0]";
    open.push_back(cairo_pdf_surface_add_outline(
        pdf, open.empty() ? CAIRO_PDF_OUTLINE_ROOT : open.back(), entry.name.c_str(), link.c_str(),
        static_cast<cairo_pdf_outline_flags_t>(0)));
  }
}

}  // namespace kz
