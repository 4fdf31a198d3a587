// Pictures compared by their pixels.
#pragma once

#include <cstdint>

#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/View/Comparison/Alignment/ContentHash.h"

namespace kz {

// Where two pictures of the same size have other colours.
struct PixelDifference {
  int64_t pixels = 0;
  // The rectangle around all of them.
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;
};

// Compares the colours of two pictures of the same size, whatever their depths. -1 for no memory.
Outcome ComparePixels(const Bitmap& a, const Bitmap& b, PixelDifference& difference);

// A hash of the size and of the colours of all pixels. -1 for no memory.
Outcome HashPixels(const Bitmap& bitmap, ContentHash& hash);

}  // namespace kz
