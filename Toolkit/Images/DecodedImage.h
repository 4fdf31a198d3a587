// What becomes of a picture that is loaded, and what can be asked for.
#pragma once

#include <cstdint>
#include <vector>

#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/Base/InkPicture.h"

namespace kz {

struct LoadOptions {
  int64_t maxPixels = kDefaultMaxPixels;
  bool strict = false;    // damaged data fail, instead of giving what they have
  bool complete = false;  // only such fail of which rows are missing, not those with wrong ones
  bool keepInks = false;  // pictures of inks go to DecodedImage::inks
  // ICC profile of pictures of inks that have none of their own; empty: the plain formula,
  // (1 - c)(1 - k).
  std::vector<unsigned char> profile;
};

// One of the two.
struct DecodedImage {
  Bitmap bitmap;    // 1 bit: 1 is black; 8 bits: grey; or 24 bits
  InkPicture inks;  // only if it was asked for, and the picture is one of inks
  bool IsInks() const { return !inks.rows.empty(); }
};

// Whether these bytes are an ICC profile of cyan, magenta, yellow and black, as
// LoadOptions::profile is.
K_EXPORT bool IsInkProfile(const std::vector<unsigned char>& profile);

}  // namespace kz
