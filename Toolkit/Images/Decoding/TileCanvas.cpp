#include "Toolkit/Images/Decoding/TileCanvas.h"

#include <algorithm>
#include <cstring>

#include "Toolkit/Images/Decoding/InkConversion.h"

namespace kz {

namespace {

// ITU-R BT.601 luma; colours on a grey canvas are greys anyway.
unsigned char GrayOf(const RgbColor& color) {
  return static_cast<unsigned char>((299 * color[0] + 587 * color[1] + 114 * color[2] + 500) /
                                    1000);
}

}  // namespace

Outcome TileCanvas::Create(const ImageShape& shape, int64_t maxPixels) {
  m_depth = shape.bitsPerPixel;
  Outcome outcome = CheckPictureSize(shape.width, shape.height, std::min(m_depth, 24), maxPixels);
  if (!outcome.Ok()) return outcome;
  const auto width = static_cast<size_t>(shape.width);
  const auto height = static_cast<size_t>(shape.height);
  if (m_depth == 32) {
    if (height > static_cast<size_t>(kMaxPictureBytes) / 4 / width) {
      return Failure(K_ERROR_INVALID_FORMAT, "the picture takes too much memory");
    }
    m_picture.inks.width = shape.width;
    m_picture.inks.height = shape.height;
    m_picture.inks.rows.assign(width * height * 4, 0);
    return outcome;
  }
  const int status = m_picture.bitmap.Create(shape.width, shape.height, m_depth, K_ORDER_RGB);
  if (status != K_SUCCESS) return Failure(status);
  if (m_depth != 1) {
    std::memset(m_picture.bitmap.TopDownRow(0), 0xFF,
                static_cast<size_t>(m_picture.bitmap.BytesPerLine()) * height);
  }
  return outcome;
}

CanvasArea TileCanvas::Clip(int64_t left, int64_t top, int64_t width, int64_t height) const {
  CanvasArea area;
  area.left = std::max<int64_t>(left, 0);
  area.top = std::max<int64_t>(top, 0);
  area.right = std::min<int64_t>(left + width, m_picture.Width());
  area.bottom = std::min<int64_t>(top + height, m_picture.Height());
  return area;
}

int64_t TileCanvas::Pixels() const { return int64_t{m_picture.Width()} * m_picture.Height(); }

unsigned char* TileCanvas::Row(int64_t row) {
  if (m_depth != 32) return m_picture.bitmap.TopDownRow(static_cast<int>(row));
  return m_picture.inks.rows.data() +
         static_cast<size_t>(row) * static_cast<size_t>(m_picture.inks.width) * 4;
}

void TileCanvas::FillRow(unsigned char* row, int64_t left, int64_t right,
                         const RgbColor& color) const {
  if (m_depth == 1) {
    for (int64_t x = left; x < right; ++x) {
      if (x % 8 == 0 && right - x >= 8) {
        row[x / 8] = 0xFF;
        x += 7;
      } else {
        row[x / 8] |= static_cast<unsigned char>(0x80 >> x % 8);
      }
    }
  } else if (m_depth == 8) {
    std::fill(row + left, row + right, GrayOf(color));
  } else if (m_depth == 24) {
    for (int64_t x = left; x < right; ++x) std::copy(color.begin(), color.end(), row + 3 * x);
  } else {
    // As inks: black for black, else what the colour lacks.
    const bool black = color == kBlack;
    for (int64_t x = left; x < right; ++x) {
      for (size_t c = 0; c < 3; ++c) {
        row[4 * static_cast<size_t>(x) + c] =
            static_cast<unsigned char>(black ? 0 : 255 - color[c]);
      }
      row[4 * x + 3] = black ? 255 : 0;
    }
  }
}

void TileCanvas::Fill(const CanvasArea& area, const RgbColor& color) {
  if (area.Empty()) return;
  for (int64_t y = area.top; y < area.bottom; ++y) FillRow(Row(y), area.left, area.right, color);
}

void TileCanvas::PasteBits(const Bitmap& tile, int64_t x, int64_t y, int scale,
                           const CanvasArea& area, const RgbColor& color) {
  const int64_t first = (area.left - x) / scale;
  const int64_t last = (area.right - 1 - x) / scale;
  for (int64_t line = area.top; line < area.bottom; ++line) {
    const unsigned char* from = tile.TopDownRow(static_cast<int>((line - y) / scale));
    unsigned char* to = Row(line);
    for (int64_t column = first; column <= last; ++column) {
      if (column % 8 == 0 && from[column / 8] == 0) {
        column += 7;
      } else if ((from[column / 8] >> (7 - column % 8) & 1) != 0) {
        const int64_t left = x + column * scale;
        FillRow(to, std::max(left, area.left), std::min(left + scale, area.right), color);
      }
    }
  }
}

void TileCanvas::PasteRow(const CodedPicture& tile, int64_t from, int64_t x, int scale,
                          const CanvasArea& area, unsigned char* to) const {
  const size_t depth = static_cast<size_t>(tile.Depth()) / 8;
  const size_t canvasDepth = static_cast<size_t>(m_depth) / 8;
  const unsigned char* row =
      tile.HasInks() ? tile.inks.rows.data() +
                           static_cast<size_t>(from) * static_cast<size_t>(tile.inks.width) * 4
                     : tile.bitmap.TopDownRow(static_cast<int>(from));
  if (scale == 1 && depth == canvasDepth) {
    std::memcpy(to + static_cast<size_t>(area.left) * depth,
                row + static_cast<size_t>(area.left - x) * depth,
                static_cast<size_t>(area.right - area.left) * depth);
    return;
  }
  for (int64_t column = area.left; column < area.right; ++column) {
    const unsigned char* pixel = row + static_cast<size_t>((column - x) / scale) * depth;
    unsigned char* target = to + static_cast<size_t>(column) * canvasDepth;
    if (depth == canvasDepth) {
      std::copy(pixel, pixel + depth, target);
    } else if (depth == 1 && canvasDepth == 3) {
      std::fill(target, target + 3, *pixel);
    }
  }
}

void TileCanvas::Paste(const CodedPicture& tile, int64_t x, int64_t y, int scale,
                       const CanvasArea& area, const RgbColor& color) {
  // No further than the tile itself goes.
  CanvasArea part = Clip(x, y, int64_t{tile.Width()} * scale, int64_t{tile.Height()} * scale);
  part.left = std::max(part.left, area.left);
  part.top = std::max(part.top, area.top);
  part.right = std::min(part.right, area.right);
  part.bottom = std::min(part.bottom, area.bottom);
  if (part.Empty()) return;
  if (tile.Depth() == 1) {
    PasteBits(tile.bitmap, x, y, scale, part, color);
    return;
  }
  for (int64_t line = part.top; line < part.bottom; ++line) {
    PasteRow(tile, (line - y) / scale, x, scale, part, Row(line));
  }
}

}  // namespace kz
