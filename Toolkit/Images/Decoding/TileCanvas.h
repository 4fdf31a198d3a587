// Where tiles are put together.
#pragma once

#include <cstdint>

#include "Toolkit/Images/Decoding/BilevelColor.h"
#include "Toolkit/Images/Decoding/CodedPicture.h"

namespace kz {

// A rectangle of pixels of the canvas.
struct CanvasArea {
  int64_t left = 0;
  int64_t top = 0;
  int64_t right = 0;  // past the last
  int64_t bottom = 0;
  bool Empty() const { return left >= right || top >= bottom; }
  int64_t Pixels() const { return Empty() ? 0 : (right - left) * (bottom - top); }
};

// A white picture of 1, 8, 24 or 32 bits (inks), onto which tiles go in their order.
class TileCanvas {
 public:
  // Fails with -9 for a size that can't be, or is above the limit, and -1.
  Outcome Create(const ImageShape& shape, int64_t maxPixels);

  // The part of a rectangle that lies on the canvas.
  CanvasArea Clip(int64_t left, int64_t top, int64_t width, int64_t height) const;
  int64_t Pixels() const;

  // Paints an area, which must lie on the canvas or be empty.
  void Fill(const CanvasArea& area, const RgbColor& color);
  // Puts the part of a tile that lies within `area` onto the canvas, its first pixel at x
  // and y, each pixel `scale` times as wide and high. The 0 bits of a bilevel tile leave
  // what is there, its 1 bits have the colour. The tile may not have more colours than the
  // canvas, and one of inks goes onto one of inks only.
  void Paste(const CodedPicture& tile, int64_t x, int64_t y, int scale, const CanvasArea& area,
             const RgbColor& color);

  CodedPicture& Picture() { return m_picture; }

 private:
  unsigned char* Row(int64_t row);
  void PasteBits(const Bitmap& tile, int64_t x, int64_t y, int scale, const CanvasArea& area,
                 const RgbColor& color);
  void PasteRow(const CodedPicture& tile, int64_t from, int64_t x, int scale,
                const CanvasArea& area, unsigned char* to) const;
  void FillRow(unsigned char* row, int64_t left, int64_t right, const RgbColor& color) const;

  CodedPicture m_picture;
  int m_depth = 0;
};

}  // namespace kz
