#include "Toolkit/View/Drawing/PageImages.h"

#include <algorithm>
#include <cmath>

#include "Toolkit/View/Drawing/SurfaceFile.h"

namespace kz {

PageImages::Drawer::Drawer(const Document& of, const LoadOptions& load)
    : document(&of),
      drawing(load, TextDrawing::Shown),
      layouts(of, [this](std::string_view text, const TextStyle& style) {
        return drawing.Texts().Measure(text, style);
      }) {}

std::unique_ptr<PageImages::Drawer> PageImages::Take(const Document& document) {
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

void PageImages::Forget() {
  const std::lock_guard lock(m_mutex);
  m_idle.clear();
}

Outcome PageImages::Draw(const Document& document, int page, const ScaleOf& scaleOf,
                         CairoSurface& picture) {
  std::unique_ptr<Drawer> drawer = Take(document);
  PageLayout layout;
  Outcome outcome = drawer->layouts.Read(page, layout);
  if (!outcome.Ok()) return outcome;
  const double width = std::max(layout.width, 1.0), height = std::max(layout.height, 1.0);
  const double scale = scaleOf(layout);
  const auto pixels = [&](double side) {
    return std::clamp(std::round(side * scale), 1.0, double{kMostSurfaceSide});
  };
  picture.reset(cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(pixels(width)),
                                           static_cast<int>(pixels(height))));
  const CairoContext cairo(cairo_create(picture.get()));
  cairo_set_source_rgb(cairo.get(), 1, 1, 1);
  cairo_paint(cairo.get());
  cairo_scale(cairo.get(), pixels(width) / width, pixels(height) / height);
  std::vector<std::string> warnings = std::move(layout.warnings);
  drawer->drawing.Draw(cairo.get(), false, layout, warnings);
  outcome = CairoOutcome(cairo_status(cairo.get()));
  outcome.warnings = std::move(warnings);
  const std::lock_guard lock(m_mutex);
  m_idle.push_back(std::move(drawer));
  return outcome;
}

}  // namespace kz
