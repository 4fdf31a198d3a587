#include "Toolkit/View/Sheets/Thumbnail.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace kz {

namespace {

// Pages are enlarged no further: pixels for a point.
constexpr double kMostScale = 4;

}  // namespace

ThumbnailMaker::Drawer::Drawer(const Document& of, const LoadOptions& load)
    : document(&of),
      drawing(load, TextDrawing::Shown),
      layouts(of, [this](std::string_view text, const TextStyle& style) {
        return drawing.Texts().Measure(text, style);
      }) {}

std::unique_ptr<ThumbnailMaker::Drawer> ThumbnailMaker::Take(const Document& document) {
  {
    const std::lock_guard lock(m_mutex);
    const auto known = std::find_if(m_idle.begin(), m_idle.end(),
                                    [&](const auto& idle) { return idle->document == &document; });
    if (known != m_idle.end()) {
      std::unique_ptr<Drawer> drawer = std::move(*known);
      m_idle.erase(known);
      return drawer;
    }
  }
  return std::make_unique<Drawer>(document, m_load);
}

void ThumbnailMaker::Forget() {
  const std::lock_guard lock(m_mutex);
  m_idle.clear();
}

Thumbnail ThumbnailMaker::Make(const SheetPage& page) {
  Thumbnail thumbnail;
  try {
    thumbnail.outcome = Draw(page, thumbnail);
  } catch (const std::bad_alloc&) {
    thumbnail.outcome = Failure(K_ERROR_NO_MEMORY);
  }
  if (!thumbnail.outcome.Ok()) {
    thumbnail.picture.reset();
    thumbnail.width = m_width;
    thumbnail.height = std::round(m_width * kFrameRatio);
  }
  return thumbnail;
}

Outcome ThumbnailMaker::Draw(const SheetPage& page, Thumbnail& thumbnail) {
  std::unique_ptr<Drawer> drawer = Take(*page.document);
  PageLayout layout;
  Outcome outcome = drawer->layouts.Read(page.page, layout);
  if (!outcome.Ok()) return outcome;
  const double pageWidth = std::max(layout.width, 1.0), pageHeight = std::max(layout.height, 1.0);
  const double scale =
      std::min({m_width / pageWidth, m_width * kFrameRatio / pageHeight, kMostScale});
  thumbnail.width = std::max(std::round(pageWidth * scale), 1.0);
  thumbnail.height = std::max(std::round(pageHeight * scale), 1.0);
  thumbnail.picture.reset(cairo_image_surface_create(
      CAIRO_FORMAT_RGB24, static_cast<int>(thumbnail.width), static_cast<int>(thumbnail.height)));
  const CairoContext cairo(cairo_create(thumbnail.picture.get()));
  cairo_set_source_rgb(cairo.get(), 1, 1, 1);
  cairo_paint(cairo.get());
  cairo_scale(cairo.get(), thumbnail.width / pageWidth, thumbnail.height / pageHeight);
  std::vector<std::string> warnings = std::move(layout.warnings);
  drawer->drawing.Draw(cairo.get(), false, layout, warnings);
  outcome = CairoOutcome(cairo_status(cairo.get()));
  outcome.warnings = std::move(warnings);
  const std::lock_guard lock(m_mutex);
  m_idle.push_back(std::move(drawer));
  return outcome;
}

}  // namespace kz
