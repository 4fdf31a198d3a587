#include "Toolkit/View/Drawing/PageDrawing.h"

#include <algorithm>

namespace kz {

namespace {

// Pictures that are kept for the next page, and their pixels' bytes.
constexpr size_t kMostLoaded = 16;
constexpr int64_t kMostLoadedBytes = int64_t{64} << 20;

// The part of a rectangle that lies within another; without any, its size is 0.
PageRectangle Within(const PageRectangle& at, const PageRectangle& page) {
  const double left = std::max(at.x, page.x), top = std::max(at.y, page.y);
  const double right = std::min(at.x + at.width, page.x + page.width);
  const double bottom = std::min(at.y + at.height, page.y + page.height);
  return {left, top, std::max(right - left, 0.0), std::max(bottom - top, 0.0)};
}

void Rectangle(cairo_t* cairo, const PageRectangle& at) {
  cairo_rectangle(cairo, at.x, at.y, at.width, at.height);
}

cairo_matrix_t MatrixOf(const Placement& at) {
  const Placement x = Placement{0, 0, at.rotation}.Then(1, 0, 0);
  return {x.x, x.y, -x.y, x.x, at.x, at.y};
}

void SetColor(cairo_t* cairo, const PageColor& color) {
  cairo_set_source_rgb(cairo, color[0] / 255.0, color[1] / 255.0, color[2] / 255.0);
}

// A mask as a picture of black and nothing, for pdf files have no masks that repeat; null for
// one that is too large to be worth repeating.
cairo_surface_t* InColor(const PictureSurface& mask) {
  constexpr int64_t most = int64_t{1} << 24;
  if (int64_t{mask.width} * mask.height > most) return nullptr;
  cairo_surface_t* surface =
      cairo_image_surface_create(CAIRO_FORMAT_ARGB32, mask.width, mask.height);
  const CairoContext cairo(cairo_create(surface));
  cairo_mask_surface(cairo.get(), mask.surface.get(), 0, 0);
  return surface;
}

int64_t BytesOf(const PictureSurface& picture) {
  if (picture.surface == nullptr) return 0;
  return int64_t{cairo_image_surface_get_stride(picture.surface.get())} * picture.height;
}

}  // namespace

void PageDrawing::Draw(cairo_t* cairo, bool passJpeg, const PageLayout& layout,
                       std::vector<std::string>& warnings) {
  m_passJpeg = passJpeg;
  const PageRectangle page = {0, 0, layout.width, layout.height};
  if (m_text == TextDrawing::Under) {
    cairo_set_source_rgb(cairo, 1, 1, 1);
    for (const PageItem& item : layout.items) {
      if (const auto* text = std::get_if<PlacedText>(&item)) m_texts.Draw(cairo, *text);
    }
  }
  for (const PageItem& item : layout.items) {
    if (const auto* picture = std::get_if<PlacedPicture>(&item)) {
      Picture(cairo, *picture, page, warnings);
    } else if (const auto* text = std::get_if<PlacedText>(&item)) {
      if (m_text != TextDrawing::Shown) continue;
      SetColor(cairo, text->style.color);
      m_texts.Draw(cairo, *text);
    } else if (const auto* rule = std::get_if<PlacedRule>(&item)) {
      SetColor(cairo, rule->color);
      Rectangle(cairo, Within(rule->at, page));
      cairo_fill(cairo);
    } else if (const auto* box = std::get_if<PlacedBox>(&item)) {
      Box(cairo, *box, page);
    }
  }
}

const PageDrawing::Loaded& PageDrawing::Load(const ShownPicture& shown, bool passJpeg) {
  const auto known = std::find_if(m_loaded.begin(), m_loaded.end(), [&](const Loaded& one) {
    return one.shown.document == shown.document && one.shown.picture == shown.picture &&
           one.passJpeg == passJpeg;
  });
  if (known != m_loaded.end()) {
    m_loaded.splice(m_loaded.begin(), m_loaded, known);
    return m_loaded.front();
  }
  Loaded loaded;
  loaded.shown = shown;
  loaded.passJpeg = passJpeg;
  loaded.outcome = LoadSurface(shown, m_load, passJpeg, loaded.picture);
  int64_t bytes = BytesOf(loaded.picture);
  m_loaded.push_front(std::move(loaded));
  size_t kept = 1;
  for (auto one = std::next(m_loaded.begin()); one != m_loaded.end();) {
    bytes += BytesOf(one->picture);
    const bool keep = ++kept <= kMostLoaded && bytes <= kMostLoadedBytes;
    one = keep ? std::next(one) : m_loaded.erase(one);
  }
  return m_loaded.front();
}

void PageDrawing::Picture(cairo_t* cairo, const PlacedPicture& placed, const PageRectangle& page,
                          std::vector<std::string>& warnings) {
  const PageRectangle seen = Within(Covered(placed.area, placed.width, placed.height), page);
  if (seen.width <= 0 || seen.height <= 0) return;
  // What repeats is drawn from its pixels.
  const Loaded& loaded = Load(placed.shown, !placed.replicated && m_passJpeg);
  const std::string name = "picture " + std::to_string(placed.shown.picture);
  const auto warn = [&](const std::string& what) {
    warnings.emplace_back(name).append(": ").append(what);
  };
  if (!loaded.outcome.Ok()) {
    warn(loaded.outcome.what);
    return Box(cairo, {seen, name}, page);
  }
  for (const std::string& warning : loaded.outcome.warnings) warn(warning);
  const PictureSurface& picture = loaded.picture;
  cairo_save(cairo);
  Rectangle(cairo, seen);
  cairo_clip(cairo);
  const cairo_matrix_t area = MatrixOf(placed.area), content = MatrixOf(placed.content);
  cairo_transform(cairo, &area);
  cairo_transform(cairo, &content);
  cairo_scale(cairo, placed.contentWidth / picture.width, placed.contentHeight / picture.height);
  const CairoSurface opaque(placed.replicated && picture.isMask ? InColor(picture) : nullptr);
  const bool asMask = picture.isMask && opaque == nullptr;
  const CairoPattern pattern(
      cairo_pattern_create_for_surface(opaque != nullptr ? opaque.get() : picture.surface.get()));
  // Edges stay as sharp as the area's; what repeats fills it.
  cairo_pattern_set_extend(pattern.get(),
                           placed.replicated && !asMask ? CAIRO_EXTEND_REPEAT : CAIRO_EXTEND_NONE);
  if (asMask) {
    cairo_set_source_rgb(cairo, 0, 0, 0);
    cairo_mask(cairo, pattern.get());
  } else {
    cairo_set_source(cairo, pattern.get());
    cairo_paint(cairo);
  }
  cairo_restore(cairo);
}

void PageDrawing::Box(cairo_t* cairo, const PlacedBox& box, const PageRectangle& page) {
  const PageRectangle seen = Within(box.at, page);
  constexpr double paper = 0.85, border = 0.5;
  cairo_save(cairo);
  Rectangle(cairo, seen);
  cairo_clip(cairo);
  cairo_set_source_rgb(cairo, paper, paper, paper);
  cairo_paint(cairo);
  TextStyle style;
  style.face = Face::Sans;
  style.size = std::clamp(seen.height / 3, 4.0, 12.0);
  PlacedText label;
  label.text = box.label;
  label.style = style;
  label.at = {seen.x + style.size / 2, seen.y + style.size * 1.2, 0};
  cairo_set_source_rgb(cairo, border, border, border);
  m_texts.Draw(cairo, label);
  cairo_restore(cairo);
}

}  // namespace kz
