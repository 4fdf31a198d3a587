#include "Toolkit/View/Comparison/Visual/DifferencePicture.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

namespace kz {

namespace {

using Ink = std::array<int, 3>;  // what red, green and blue lack

// What a whole ink of each takes from white.
constexpr Ink kRemoved = {40, 190, 245};  // leaves orange
constexpr Ink kAdded = {230, 130, 45};    // leaves blue
constexpr Ink kStain = {0, 14, 60};       // leaves a light yellow
constexpr int kGreyPart = 3;              // tenths of what both have
constexpr int kStainReach = 4;            // pixels
constexpr int kLeastSeen = 2;             // of 255

class Pixels {
 public:
  explicit Pixels(cairo_surface_t* surface)
      : m_data(cairo_image_surface_get_data(surface)),
        m_width(cairo_image_surface_get_width(surface)),
        m_height(cairo_image_surface_get_height(surface)),
        m_stride(cairo_image_surface_get_stride(surface)) {
    cairo_surface_flush(surface);
  }
  // Outside of the picture it is white.
  Ink At(int x, int y) const {
    if (x >= m_width || y >= m_height) return {};
    uint32_t pixel = 0;
    std::memcpy(&pixel, m_data + ptrdiff_t{y} * m_stride + ptrdiff_t{x} * 4, sizeof(pixel));
    return {255 - static_cast<int>(pixel >> 16 & 0xFF), 255 - static_cast<int>(pixel >> 8 & 0xFF),
            255 - static_cast<int>(pixel & 0xFF)};
  }

 private:
  const unsigned char* m_data;
  int m_width, m_height, m_stride;
};

// What the same pixel of two pictures comes to.
struct PixelPair {
  int common = 0, removed = 0, added = 0;
  bool Differs() const { return removed >= kLeastSeen || added >= kLeastSeen; }
};

PixelPair PairOf(const Ink& a, const Ink& b) {
  PixelPair pair;
  for (size_t i = 0; i < a.size(); ++i) {
    pair.common += std::min(a[i], b[i]);
    pair.removed = std::max(pair.removed, a[i] - b[i]);
    pair.added = std::max(pair.added, b[i] - a[i]);
  }
  pair.common /= 3;
  return pair;
}

uint32_t ColorOf(const PixelPair& pair, bool stained) {
  uint32_t color = 0;
  for (size_t i = 0; i < kRemoved.size(); ++i) {
    int value = 255 - pair.common * kGreyPart / 10;
    value -= pair.removed * kRemoved[i] / 255 + pair.added * kAdded[i] / 255;
    if (stained) value -= kStain[i];
    color = color << 8 | static_cast<uint32_t>(std::max(value, 0));
  }
  return color;
}

// Marks what is near to marks along one direction: `count` of them, `step` apart.
void Spread(unsigned char* marks, int count, ptrdiff_t step, std::vector<unsigned char>& spare) {
  spare.assign(static_cast<size_t>(count), 0);
  int left = 0;
  for (int i = 0; i < count + kStainReach; ++i) {
    if (i < count && marks[i * step] != 0) left = 2 * kStainReach + 1;
    if (left > 0 && i >= kStainReach) spare[static_cast<size_t>(i - kStainReach)] = 1;
    if (left > 0) --left;
  }
  for (int i = 0; i < count; ++i) marks[i * step] = spare[static_cast<size_t>(i)];
}

cairo_status_t Append(void* to, const unsigned char* data, unsigned length) {
  static_cast<std::string*>(to)->append(reinterpret_cast<const char*>(data), length);
  return CAIRO_STATUS_SUCCESS;
}

bool IsGray(cairo_surface_t* picture) {
  const Pixels pixels(picture);
  for (int y = 0; y < cairo_image_surface_get_height(picture); ++y) {
    for (int x = 0; x < cairo_image_surface_get_width(picture); ++x) {
      const Ink ink = pixels.At(x, y);
      if (ink[0] != ink[1] || ink[1] != ink[2]) return false;
    }
  }
  return true;
}

}  // namespace

CairoSurface DifferencePicture(cairo_surface_t* a, cairo_surface_t* b) {
  const int width = std::max(cairo_image_surface_get_width(a), cairo_image_surface_get_width(b));
  const int height = std::max(cairo_image_surface_get_height(a), cairo_image_surface_get_height(b));
  CairoSurface picture(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height));
  if (cairo_surface_status(picture.get()) != CAIRO_STATUS_SUCCESS) return picture;
  const Pixels ofA(a), ofB(b);
  const auto wide = static_cast<size_t>(width);
  std::vector<unsigned char> stains(wide * static_cast<size_t>(height), 0), spare;
  for (int y = 0; y < height; ++y) {
    unsigned char* row = stains.data() + static_cast<size_t>(y) * wide;
    for (int x = 0; x < width; ++x) row[x] = PairOf(ofA.At(x, y), ofB.At(x, y)).Differs() ? 1 : 0;
    Spread(row, width, 1, spare);
  }
  for (int x = 0; x < width; ++x) Spread(stains.data() + x, height, width, spare);
  unsigned char* to = cairo_image_surface_get_data(picture.get());
  const unsigned char* stain = stains.data();
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x, ++stain) {
      const uint32_t color = ColorOf(PairOf(ofA.At(x, y), ofB.At(x, y)), *stain != 0);
      std::memcpy(to + ptrdiff_t{x} * 4, &color, sizeof(color));
    }
    to += cairo_image_surface_get_stride(picture.get());
  }
  cairo_surface_mark_dirty(picture.get());
  return picture;
}

std::string PngOf(cairo_surface_t* picture) {
  std::string png;
  if (!IsGray(picture)) {
    const bool written =
        cairo_surface_write_to_png_stream(picture, Append, &png) == CAIRO_STATUS_SUCCESS;
    return written ? png : std::string();
  }
  const int width = cairo_image_surface_get_width(picture);
  const int height = cairo_image_surface_get_height(picture);
  // Written as shades of grey.
  const CairoSurface gray(cairo_image_surface_create(CAIRO_FORMAT_A8, width, height));
  if (cairo_surface_status(gray.get()) != CAIRO_STATUS_SUCCESS) return png;
  const Pixels pixels(picture);
  unsigned char* to = cairo_image_surface_get_data(gray.get());
  for (int y = 0; y < height; ++y, to += cairo_image_surface_get_stride(gray.get())) {
    for (int x = 0; x < width; ++x) {
      to[x] = static_cast<unsigned char>(255 - pixels.At(x, y)[0]);
    }
  }
  cairo_surface_mark_dirty(gray.get());
  const bool written =
      cairo_surface_write_to_png_stream(gray.get(), Append, &png) == CAIRO_STATUS_SUCCESS;
  return written ? png : std::string();
}

}  // namespace kz
