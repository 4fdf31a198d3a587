#include "Toolkit/Images/Decoding/TileDecoding.h"

#include <algorithm>

#include "Toolkit/Images/Decoding/BilevelColor.h"
#include "Toolkit/Images/Decoding/ImageCoding.h"
#include "Toolkit/Images/Decoding/InkConversion.h"
#include "Toolkit/Images/Decoding/TileCanvas.h"

namespace kz {

namespace {

constexpr int64_t kCoverings = 4;
constexpr int64_t kMorePixels = int64_t{1} << 24;

bool IsGray(const RgbColor& color) { return color[0] == color[1] && color[1] == color[2]; }

class TileDecoder {
 public:
  TileDecoder(const ImageContent& content, const ImageDescriptor& descriptor,
              const LoadOptions& options)
      : m_content(content), m_descriptor(descriptor), m_options(options), m_inks(options.profile) {}

  Outcome Decode(CodedPicture& picture) {
    ImageShape shape = ShapeOfTiles(m_content, m_descriptor);
    if (shape.bitsPerPixel == 32 && !m_options.keepInks) shape.bitsPerPixel = 24;
    Outcome outcome = m_canvas.Create(shape, m_options.maxPixels);
    if (!outcome.Ok()) return outcome;
    m_budget = m_canvas.Pixels() * kCoverings + kMorePixels;
    // The colour of the descriptor comes last when nothing else has any.
    m_foreground = shape.bitsPerPixel == 1 ? kBlack : ColorOf(m_descriptor);
    size_t failed = 0;
    for (size_t i = 0; i < m_content.tiles.size(); ++i) {
      outcome = Put(m_content.tiles[i]);
      if (outcome.Ok()) continue;
      outcome.what = "tile " + std::to_string(i + 1) + ": " + outcome.what;
      const bool ends = m_budget < 0 || outcome.status == K_ERROR_NO_MEMORY;
      if (m_options.RefusesMissingRows() || ends) return outcome;
      if (++failed == m_content.tiles.size()) return outcome;
      m_warnings.push_back(outcome.what);
      m_damaged = true;
    }
    picture = std::move(m_canvas.Picture());
    picture.warnings = std::move(m_warnings);
    picture.damaged = m_damaged;
    return {};
  }

 private:
  Outcome Spend(int64_t pixels) {
    m_budget -= pixels;
    if (m_budget >= 0) return {};
    return Failure(K_ERROR_INVALID_FORMAT, "the tiles overlap too often");
  }

  Outcome Put(const ImageTile& tile) {
    const int scale = std::max(tile.scale, 1);
    const ImageParameters& parameters = tile.image.parameters;
    const bool sized = parameters.width > 0 && parameters.height > 0;
    CanvasArea area = m_canvas.Clip(tile.x, tile.y, int64_t{parameters.width} * scale,
                                    int64_t{parameters.height} * scale);
    if (sized && area.Empty()) return {};
    const RgbColor color = tile.color ? ColorOf(*tile.color) : m_foreground;
    if (parameters.compression == coding::kSolidFill) {
      Outcome outcome = Spend(area.Pixels());
      if (outcome.Ok()) m_canvas.Fill(area, color);
      return outcome;
    }
    CodedPicture picture;
    const CodedOptions options = {std::min(m_options.maxPixels, m_budget), m_options.strict,
                                  m_options.complete, true};
    Outcome outcome = DecodeCodedImage(tile.image, options, picture);
    if (outcome.Ok()) outcome = Spend(int64_t{picture.Width()} * picture.Height());
    if (!outcome.Ok()) return outcome;
    m_damaged = m_damaged || picture.damaged;
    m_warnings.insert(m_warnings.end(), picture.warnings.begin(), picture.warnings.end());
    if (picture.HasInks() && !KeepsInks()) {
      Bitmap converted;
      outcome = m_inks.Convert(picture.inks, converted);
      if (!outcome.Ok()) return outcome;
      m_warnings.insert(m_warnings.end(), outcome.warnings.begin(), outcome.warnings.end());
      picture.inks = {};
      picture.bitmap = std::move(converted);
    } else if (picture.HasInks() && m_canvas.Picture().inks.profile.empty()) {
      m_canvas.Picture().inks.profile = picture.inks.profile;
    }
    if (!sized) {
      area = m_canvas.Clip(tile.x, tile.y, int64_t{picture.Width()} * scale,
                           int64_t{picture.Height()} * scale);
    }
    const int64_t x = tile.x - Padding(tile, tile.x, picture.Width(), parameters.width);
    const int64_t y = tile.y - Padding(tile, tile.y, picture.Height(), parameters.height);
    m_canvas.Paste(picture, x, y, scale, area, color);
    return outcome;
  }

  bool KeepsInks() { return m_canvas.Picture().HasInks(); }

  // Pixels of the canvas that the JPEG data of a tile begin before its place: their blocks
  // are those of the canvas. None when the data have no room for it.
  static int64_t Padding(const ImageTile& tile, int64_t at, int size, int stated) {
    if (tile.image.parameters.compression != coding::kJpeg) return 0;
    const int64_t scale = std::max(tile.scale, 1);
    const int64_t padding = at % (8 * scale);
    return int64_t{size} * scale >= padding + int64_t{stated} * scale ? padding : 0;
  }

  const ImageContent& m_content;
  const ImageDescriptor& m_descriptor;
  const LoadOptions& m_options;
  TileCanvas m_canvas;
  InkPictureConverter m_inks;
  RgbColor m_foreground = kBlack;
  int64_t m_budget = 0;
  bool m_damaged = false;
  std::vector<std::string> m_warnings;
};

}  // namespace

ImageShape ShapeOfTiles(const ImageContent& content, const ImageDescriptor& descriptor) {
  int64_t width = descriptor.width;
  int64_t height = descriptor.height;
  if (width == 0 || height == 0) {
    width = content.image.parameters.width;
    height = content.image.parameters.height;
  }
  const bool bySize = width > 0 && height > 0;
  const RgbColor foreground = ColorOf(descriptor);
  int deepest = 1;
  bool allInks = !content.tiles.empty();
  for (const ImageTile& tile : content.tiles) {
    const ImageShape tileShape = ShapeOfCoded(tile.image);
    const int bits = tileShape.bitsPerPixel;
    deepest = std::max(deepest, bits);
    allInks = allInks && bits == 32;
    const RgbColor color = tile.color ? ColorOf(*tile.color) : foreground;
    // The descriptor's colour is given to a canvas of 1 bit when it is complete.
    if (bits == 1 && tile.color && color != foreground) {
      deepest = std::max(deepest, IsGray(color) ? 8 : 24);
    }
    if (!bySize) {
      const int64_t scale = std::max(tile.scale, 1);
      width = std::max(width, tile.x + tileShape.width * scale);
      height = std::max(height, tile.y + tileShape.height * scale);
    }
  }
  if (deepest > 1 && deepest < 24 && !IsGray(foreground)) deepest = 24;
  if (deepest == 32 && !allInks) deepest = 24;
  ImageShape shape;
  shape.width = static_cast<int>(std::min<int64_t>(width, INT32_MAX));
  shape.height = static_cast<int>(std::min<int64_t>(height, INT32_MAX));
  shape.bitsPerPixel = deepest;
  return shape;
}

Outcome DecodeTiles(const ImageContent& content, const ImageDescriptor& descriptor,
                    const LoadOptions& options, CodedPicture& picture) {
  picture = {};
  return TileDecoder(content, descriptor, options).Decode(picture);
}

}  // namespace kz
