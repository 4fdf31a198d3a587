#include "Toolkit/View/Drawing/ReducedSurface.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <vector>

namespace kz {

namespace {

// Bits of a row from one on, of which at most 32 are asked for; seven bytes more are there.
unsigned CountBits(const unsigned char* row, int first, int count) {
  uint64_t bits = 0;
  std::memcpy(&bits, row + first / 8, sizeof(bits));
  return static_cast<unsigned>(std::popcount(bits >> first % 8 & ((uint64_t{1} << count) - 1)));
}

// Sums of the pixels that become one.
class Sums {
 public:
  Sums(const PictureSurface& picture, int x, int reducedWidth)
      : m_picture(picture),
        m_isOpaque(cairo_image_surface_get_format(picture.surface.get()) == CAIRO_FORMAT_RGB24),
        m_x(x),
        m_sums(static_cast<size_t>(reducedWidth)),
        m_row(static_cast<size_t>(cairo_image_surface_get_stride(picture.surface.get())) +
              sizeof(uint64_t)) {}

  void Clear() { std::fill(m_sums.begin(), m_sums.end(), Sum()); }

  void AddRow(const unsigned char* row) {
    if (m_picture.isMask) return AddBits(row);
    int left = m_x;
    Sum* sum = m_sums.data();
    for (int x = 0; x < m_picture.width; ++x, row += sizeof(uint32_t)) {
      if (left == 0) {
        left = m_x;
        ++sum;
      }
      --left;
      uint32_t pixel = 0;
      std::memcpy(&pixel, row, sizeof(pixel));
      sum->covered += m_isOpaque ? kFull : pixel >> 24;
      sum->red += pixel >> 16 & 0xFF;
      sum->green += pixel >> 8 & 0xFF;
      sum->blue += pixel & 0xFF;
    }
  }

  // The means over so many rows.
  void Put(int rows, unsigned char* to) const {
    for (size_t i = 0; i < m_sums.size(); ++i) {
      const Sum& sum = m_sums[i];
      const int columns = std::min(m_x, m_picture.width - static_cast<int>(i) * m_x);
      const auto pixels = static_cast<unsigned>(columns * rows);
      const auto mean = [&](unsigned all) { return (all + pixels / 2) / pixels; };
      if (m_picture.isMask) {
        *to++ = static_cast<unsigned char>(mean(sum.covered * kFull));
        continue;
      }
      const uint32_t pixel =
          mean(sum.covered) << 24 | mean(sum.red) << 16 | mean(sum.green) << 8 | mean(sum.blue);
      std::memcpy(to, &pixel, sizeof(pixel));
      to += sizeof(pixel);
    }
  }

 private:
  struct Sum {
    unsigned covered = 0;  // of a mask pixels that are set, else what they cover, each up to kFull
    unsigned red = 0;
    unsigned green = 0;
    unsigned blue = 0;
  };

  // The first pixel is the lowest bit. What follows the last one in its word isn't drawn.
  void AddBits(const unsigned char* row) {
    std::memcpy(m_row.data(), row, m_row.size() - sizeof(uint64_t));
    for (int x = 0; x < m_picture.width; x += m_x) {
      m_sums[static_cast<size_t>(x / m_x)].covered +=
          CountBits(m_row.data(), x, std::min(m_x, m_picture.width - x));
    }
  }

  static constexpr unsigned kFull = 255;

  const PictureSurface& m_picture;
  bool m_isOpaque;
  int m_x;
  std::vector<Sum> m_sums;
  std::vector<unsigned char> m_row;
};

}  // namespace

CairoSurface ReduceSurface(const PictureSurface& picture, int x, int y) {
  const int width = (picture.width + x - 1) / x;
  const int height = (picture.height + y - 1) / y;
  CairoSurface reduced(cairo_image_surface_create(
      picture.isMask ? CAIRO_FORMAT_A8 : CAIRO_FORMAT_ARGB32, width, height));
  if (cairo_surface_status(reduced.get()) != CAIRO_STATUS_SUCCESS) return reduced;
  const auto stride = cairo_image_surface_get_stride(picture.surface.get());
  const unsigned char* from = cairo_image_surface_get_data(picture.surface.get());
  unsigned char* to = cairo_image_surface_get_data(reduced.get());
  Sums sums(picture, x, width);
  for (int row = 0; row < picture.height; row += y) {
    sums.Clear();
    const int rows = std::min(y, picture.height - row);
    for (int i = 0; i < rows; ++i, from += stride) sums.AddRow(from);
    sums.Put(rows, to);
    to += cairo_image_surface_get_stride(reduced.get());
  }
  cairo_surface_mark_dirty(reduced.get());
  return reduced;
}

PictureSurface RepeatSurface(cairo_surface_t* tile, int x, int y) {
  const int height = cairo_image_surface_get_height(tile);
  PictureSurface all;
  all.width = cairo_image_surface_get_width(tile) * x;
  all.height = height * y;
  all.surface.reset(
      cairo_image_surface_create(cairo_image_surface_get_format(tile), all.width, all.height));
  if (cairo_surface_status(all.surface.get()) != CAIRO_STATUS_SUCCESS) return all;
  const size_t bytes = sizeof(uint32_t) * static_cast<size_t>(cairo_image_surface_get_width(tile));
  const unsigned char* from = cairo_image_surface_get_data(tile);
  unsigned char* to = cairo_image_surface_get_data(all.surface.get());
  for (int row = 0; row < all.height; ++row) {
    const unsigned char* line =
        from + static_cast<ptrdiff_t>(row % height) * cairo_image_surface_get_stride(tile);
    for (int i = 0; i < x; ++i) {
      std::memcpy(to + bytes * static_cast<size_t>(i), line, bytes);
    }
    to += cairo_image_surface_get_stride(all.surface.get());
  }
  cairo_surface_mark_dirty(all.surface.get());
  return all;
}

}  // namespace kz
