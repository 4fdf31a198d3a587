#include "Toolkit/View/Sheets/Thumbnail.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace kz {

namespace {

// Pages are enlarged no further: pixels for a point.
constexpr double kMostScale = 4;

}  // namespace

Thumbnail ThumbnailMaker::Make(const SheetPage& page) {
  Thumbnail thumbnail;
  try {
    thumbnail.outcome = m_images.Draw(
        *page.document, page.page,
        [this](const PageLayout& layout) {
          return std::min({m_width / std::max(layout.width, 1.0),
                           m_width * kFrameRatio / std::max(layout.height, 1.0), kMostScale});
        },
        thumbnail.picture);
  } catch (const std::bad_alloc&) {
    thumbnail.outcome = Failure(K_ERROR_NO_MEMORY);
  }
  if (thumbnail.outcome.Ok()) {
    thumbnail.width = cairo_image_surface_get_width(thumbnail.picture.get());
    thumbnail.height = cairo_image_surface_get_height(thumbnail.picture.get());
  } else {
    thumbnail.picture.reset();
    thumbnail.width = m_width;
    thumbnail.height = std::round(m_width * kFrameRatio);
  }
  return thumbnail;
}

}  // namespace kz
