#include "Toolkit/View/Drawing/PageDrawing.h"

#include <algorithm>
#include <cmath>

#include "Toolkit/View/Drawing/ReducedSurface.h"

namespace kz {

namespace {

// Pictures that are kept for the next page, and their pixels' bytes.
constexpr size_t kMostLoaded = 64;
constexpr int64_t kMostLoadedBytes = int64_t{64} << 20;
// A pixel of what repeats is made of many.
constexpr double kRepeatedPaint = 8;
// Letters leave most of the paper free.
constexpr double kTextPaint = 0.25;

// The part of a rectangle that lies within another; without any, its size is 0.
PageRectangle Within(const PageRectangle& at, const PageRectangle& page) {
  const double left = std::max(at.x, page.x), top = std::max(at.y, page.y);
  const double right = std::min(at.x + at.width, page.x + page.width);
  const double bottom = std::min(at.y + at.height, page.y + page.height);
  return {left, top, std::max(right - left, 0.0), std::max(bottom - top, 0.0)};
}

// The smallest rectangle around both; one of no size counts for nothing.
PageRectangle Around(const PageRectangle& one, const PageRectangle& other) {
  if (one.width <= 0 || one.height <= 0) return other;
  if (other.width <= 0 || other.height <= 0) return one;
  const double left = std::min(one.x, other.x), top = std::min(one.y, other.y);
  return {left, top, std::max(one.x + one.width, other.x + other.width) - left,
          std::max(one.y + one.height, other.y + other.height) - top};
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

int64_t BytesOf(const CairoSurface& surface) {
  if (surface == nullptr) return 0;
  return int64_t{cairo_image_surface_get_stride(surface.get())} *
         cairo_image_surface_get_height(surface.get());
}

template <typename Loaded>
bool HasReduced(const Loaded& loaded, int x, int y, bool repeats) {
  return loaded.reduced != nullptr && loaded.reducedX == x && loaded.reducedY == y &&
         loaded.reducedRepeats == repeats;
}

// How many pixels become one that are drawn `scale` times as large.
int ReducedBy(double scale) {
  constexpr double nearly = 1e-3;
  if (!(scale > 0)) return 1;
  return static_cast<int>(std::clamp(1 / scale + nearly, 1.0, double{kMostReduced}));
}

// Whether a picture's data go into the page's file as they are.
bool HasPassed(const PictureSurface& picture) {
  if (picture.surface == nullptr) return false;
  for (const char* kind : {CAIRO_MIME_TYPE_JPEG, CAIRO_MIME_TYPE_CCITT_FAX}) {
    const unsigned char* data = nullptr;
    unsigned long length = 0;
    cairo_surface_get_mime_data(picture.surface.get(), kind, &data, &length);
    if (data != nullptr) return true;
  }
  return false;
}

}  // namespace

void PageDrawing::Draw(cairo_t* cairo, bool isVector, const PageLayout& layout,
                       std::vector<std::string>& warnings) {
  m_sheet = {};
  // What was too much for another page may not be for this one.
  m_loaded.remove_if([](const Loaded& one) { return !one.outcome.Ok(); });
  m_sheet.isVector = isVector;
  const bool isPdf = cairo_surface_get_type(cairo_get_target(cairo)) == CAIRO_SURFACE_TYPE_PDF;
  if (isVector) m_sheet.passing = isPdf ? Passing::kJpegAndFax : Passing::kJpeg;
  m_sheet.warnings = &warnings;
  m_sheet.page = {0, 0, layout.width, layout.height};
  cairo_matrix_t matrix;
  cairo_get_matrix(cairo, &matrix);
  m_sheet.scale = matrix.xx;
  m_sheet.paint = std::max(
      kLeastPainted, kMostPainted * layout.width * layout.height * m_sheet.scale * m_sheet.scale);
  if (m_text == TextDrawing::Under) {
    cairo_set_source_rgb(cairo, 1, 1, 1);
    for (const PageItem& item : layout.items) {
      if (const auto* text = std::get_if<PlacedText>(&item)) Text(cairo, *text);
    }
  }
  for (const PageItem& item : layout.items) Item(cairo, item);
}

void PageDrawing::Item(cairo_t* cairo, const PageItem& item) {
  if (const auto* picture = std::get_if<PlacedPicture>(&item)) {
    Picture(cairo, *picture);
  } else if (const auto* text = std::get_if<PlacedText>(&item)) {
    if (m_text != TextDrawing::Shown) return;
    SetColor(cairo, text->style.color);
    Text(cairo, *text);
    m_sheet.drawn = m_sheet.page;
  } else if (const auto* rule = std::get_if<PlacedRule>(&item)) {
    const PageRectangle seen = Within(rule->at, m_sheet.page);
    if (!Spend(seen)) return;
    m_sheet.drawn = Around(m_sheet.drawn, seen);
    SetColor(cairo, rule->color);
    Rectangle(cairo, seen);
    cairo_fill(cairo);
  } else if (const auto* box = std::get_if<PlacedBox>(&item)) {
    if (Spend(Within(box->at, m_sheet.page))) Box(cairo, *box);
  }
}

void PageDrawing::Text(cairo_t* cairo, const PlacedText& text) {
  // Letters are at most twice as large as their font, and stay near their line.
  const double size = 2 * text.style.size;
  const PageRectangle about =
      Covered(text.at.Then(-size, -size, 0), text.advance + 2 * size, 2 * size);
  const PageRectangle seen = Within(about, m_sheet.page);
  const bool isSeen = seen.width > 0 && seen.height > 0;
  if (m_sheet.isVector || (isSeen && Spend(seen, kTextPaint))) m_texts.Draw(cairo, text);
}

// Whether a part of the page may be painted over once more.
bool PageDrawing::Spend(const PageRectangle& seen, double perPixel) {
  if (m_sheet.isVector) return true;
  m_sheet.paint -= seen.width * seen.height * m_sheet.scale * m_sheet.scale * perPixel;
  if (m_sheet.paint >= 0) return true;
  Warn("the page is painted over too often: the rest is left out");
  return false;
}

void PageDrawing::Warn(std::string what) { AddWarning(*m_sheet.warnings, std::move(what)); }

// How a picture's data may go into the page's file.
Passing PageDrawing::PassingOf(const PlacedPicture& placed, const PageRectangle& seen) const {
  // What repeats is drawn from its pixels.
  if (placed.replicated) return Passing::kNothing;
  // What is black on nothing would hide, as fax data, what lies under it.
  const PageRectangle hidden = Within(m_sheet.drawn, seen);
  const bool hides = hidden.width > 0 && hidden.height > 0;
  return hides ? std::min(m_sheet.passing, Passing::kJpeg) : m_sheet.passing;
}

PageDrawing::Loaded& PageDrawing::Load(const PlacedPicture& placed, Passing passing) {
  const ShownPicture& shown = placed.shown;
  const auto known = std::find_if(m_loaded.begin(), m_loaded.end(), [&](const Loaded& one) {
    return one.shown.document == shown.document && one.shown.picture == shown.picture &&
           one.passing == passing;
  });
  if (known != m_loaded.end()) {
    m_loaded.splice(m_loaded.begin(), m_loaded, known);
  } else {
    m_loaded.emplace_front();
    m_loaded.front().shown = shown;
    m_loaded.front().passing = passing;
  }
  Loaded& loaded = m_loaded.front();
  const auto [x, y] = ReductionOf(loaded.picture, placed);
  if (!loaded.outcome.Ok() || loaded.picture.surface != nullptr ||
      HasReduced(loaded, x, y, placed.replicated)) {
    return loaded;
  }
  loaded.outcome = LoadNew(shown, passing, loaded.picture);
  LimitLoaded();
  return loaded;
}

// Lets go of pictures that were drawn long ago, of those first that are there reduced too.
void PageDrawing::LimitLoaded() {
  int64_t bytes = 0;
  size_t kept = 0;
  for (auto one = m_loaded.begin(); one != m_loaded.end();) {
    const int64_t whole = BytesOf(one->picture.surface);
    int64_t all = whole + BytesOf(one->tile) + BytesOf(one->reduced);
    const bool first = kept++ == 0;
    if (!first && bytes + all > kMostLoadedBytes / 4 && one->reduced != nullptr) {
      one->picture.surface.reset();
      all -= whole;
    }
    bytes += all;
    const bool keep = first || (kept <= kMostLoaded && bytes <= kMostLoadedBytes);
    one = keep ? std::next(one) : m_loaded.erase(one);
  }
}

// How many pixels of a picture may become one where it is placed.
std::pair<int, int> PageDrawing::ReductionOf(const PictureSurface& picture,
                                             const PlacedPicture& placed) const {
  if (m_sheet.isVector || picture.width <= 0 || picture.height <= 0) return {1, 1};
  return {ReducedBy(placed.contentWidth * m_sheet.scale / picture.width),
          ReducedBy(placed.contentHeight * m_sheet.scale / picture.height)};
}

Outcome PageDrawing::LoadNew(const ShownPicture& shown, Passing passing, PictureSurface& picture) {
  // Vector surfaces compress pixels, and have little to do with data that they pass.
  constexpr int64_t compressed = 4, passed = 8;
  if (m_sheet.decoded >= (m_sheet.isVector ? kMostDecoded / compressed : kMostDecoded)) {
    return Failure(K_ERROR_INVALID_FORMAT, "the page has too many large pictures");
  }
  PictureInfo info;
  int64_t pixels = 0;
  if (shown.document->DescribePicture(shown.picture, info).Ok()) {
    pixels = int64_t{std::max(info.width, 0)} * std::max(info.height, 0);
  }
  Outcome outcome = LoadSurface(shown, m_load, passing, picture);
  m_sheet.decoded += HasPassed(picture) ? pixels / passed : pixels;
  return outcome;
}

// What a picture is drawn from: as few pixels as the page's are fine.
PageDrawing::Source PageDrawing::SourceOf(Loaded& loaded, const PlacedPicture& placed) const {
  const PictureSurface& picture = loaded.picture;
  const Source whole = {picture.surface.get(), picture.isMask};
  if (m_sheet.isVector && !placed.replicated) return whole;
  const auto [x, y] = ReductionOf(picture, placed);
  if (placed.replicated) return TileOf(loaded, x, y);
  if (x == 1 && y == 1) return whole;
  if (!HasReduced(loaded, x, y, false)) {
    loaded.reduced = ReduceSurface(picture, x, y);
    loaded.reducedX = x;
    loaded.reducedY = y;
    loaded.reducedRepeats = false;
  }
  if (cairo_surface_status(loaded.reduced.get()) != CAIRO_STATUS_SUCCESS) return whole;
  return {loaded.reduced.get(), picture.isMask, x, y};
}

// What repeats a picture. Pixels of small tiles are far to find: they make larger ones.
PageDrawing::Source PageDrawing::TileOf(Loaded& loaded, int x, int y) const {
  constexpr int large = 1024, mostLarge = 4 * large;
  const PictureSurface& picture = loaded.picture;
  if (loaded.tile == nullptr && picture.isMask) loaded.tile.reset(InColor(picture));
  cairo_surface_t* tile = loaded.tile != nullptr ? loaded.tile.get() : picture.surface.get();
  const Source plain = {tile, picture.isMask && loaded.tile == nullptr};
  if (m_sheet.isVector || plain.isMask || std::max(picture.width, picture.height) > large) {
    return plain;
  }
  const auto times = [](int side, int pixels) { return (large / (side * pixels) + 1) * pixels; };
  if (picture.width * times(picture.width, x) > mostLarge) x = 1;
  if (picture.height * times(picture.height, y) > mostLarge) y = 1;
  if (!HasReduced(loaded, x, y, true)) {
    PictureSurface tiles = RepeatSurface(tile, times(picture.width, x), times(picture.height, y));
    const bool made = cairo_surface_status(tiles.surface.get()) == CAIRO_STATUS_SUCCESS;
    loaded.reduced = made && x * y > 1 ? ReduceSurface(tiles, x, y) : std::move(tiles.surface);
    loaded.reducedX = x;
    loaded.reducedY = y;
    loaded.reducedRepeats = true;
  }
  if (cairo_surface_status(loaded.reduced.get()) != CAIRO_STATUS_SUCCESS) return plain;
  return {loaded.reduced.get(), false, x, y};
}

void PageDrawing::Picture(cairo_t* cairo, const PlacedPicture& placed) {
  const PageRectangle seen =
      Within(Covered(placed.area, placed.width, placed.height), m_sheet.page);
  if (seen.width <= 0 || seen.height <= 0) return;
  if (!Spend(seen, placed.replicated ? kRepeatedPaint : 1)) return;
  Loaded& loaded = Load(placed, PassingOf(placed, seen));
  m_sheet.drawn = Around(m_sheet.drawn, seen);
  const std::string name = "picture " + std::to_string(placed.shown.picture);
  const auto warn = [&](const std::string& what) {
    Warn(std::string(name).append(": ").append(what));
  };
  if (!loaded.outcome.Ok()) {
    warn(loaded.outcome.what);
    return Box(cairo, {seen, name});
  }
  for (const std::string& warning : loaded.outcome.warnings) warn(warning);
  const PictureSurface& picture = loaded.picture;
  const Source source = SourceOf(loaded, placed);
  cairo_save(cairo);
  Rectangle(cairo, seen);
  cairo_clip(cairo);
  const cairo_matrix_t area = MatrixOf(placed.area), content = MatrixOf(placed.content);
  cairo_transform(cairo, &area);
  cairo_transform(cairo, &content);
  cairo_scale(cairo, placed.contentWidth / picture.width * source.pixelsX,
              placed.contentHeight / picture.height * source.pixelsY);
  const CairoPattern pattern(cairo_pattern_create_for_surface(source.surface));
  // Edges stay as sharp as the area's; what repeats fills it. Those of a picture that was reduced
  // lie within its last pixels.
  cairo_extend_t extend = CAIRO_EXTEND_NONE;
  if (placed.replicated) {
    if (!source.isMask) extend = CAIRO_EXTEND_REPEAT;
  } else if (source.pixelsX > 1 || source.pixelsY > 1) {
    cairo_rectangle(cairo, 0, 0, static_cast<double>(picture.width) / source.pixelsX,
                    static_cast<double>(picture.height) / source.pixelsY);
    cairo_clip(cairo);
    extend = CAIRO_EXTEND_PAD;
  }
  cairo_pattern_set_extend(pattern.get(), extend);
  if (source.isMask) {
    cairo_set_source_rgb(cairo, 0, 0, 0);
    cairo_mask(cairo, pattern.get());
  } else {
    cairo_set_source(cairo, pattern.get());
    cairo_paint(cairo);
  }
  cairo_restore(cairo);
}

void PageDrawing::Box(cairo_t* cairo, const PlacedBox& box) {
  const PageRectangle seen = Within(box.at, m_sheet.page);
  m_sheet.drawn = Around(m_sheet.drawn, seen);
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
