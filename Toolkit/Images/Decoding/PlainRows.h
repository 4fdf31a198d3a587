// Uncompressed grey and RGB rows, read into their bitmap without a stop on the way.
#pragma once

#include <cstdint>
#include <span>

#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/Images/ImageContent.h"

namespace kz {

class PlainRows {
 public:
  explicit PlainRows(int64_t maxPixels) : m_maxPixels(maxPixels) {}

  // Room for the data of such an image, its rows without gaps; empty for another kind of
  // image, one above the limit, or more than the `most` bytes that there are.
  std::span<unsigned char> RoomFor(const ImageParameters& parameters, int64_t most);
  // Hands the bitmap over if `got` bytes in the room are all that it needs, and moves the
  // rows to where it has them. False otherwise.
  bool Finish(int64_t got, Bitmap& bitmap);

 private:
  int64_t m_maxPixels;
  Bitmap m_bitmap;
  size_t m_rowBytes = 0;
};

}  // namespace kz
