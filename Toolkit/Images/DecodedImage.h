// What becomes of a picture that is loaded, and what can be asked for.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/Base/InkPicture.h"

namespace kz {

// An ICC profile of cyan, magenta, yellow and black.
using SharedProfile = std::shared_ptr<const std::vector<unsigned char>>;

struct LoadOptions {
  int64_t maxPixels = kDefaultMaxPixels;
  bool strict = false;  // damaged data fail, instead of giving what they have
  // Pictures of which rows are missing fail. Those that have all their rows are loaded, though
  // some may be wrong: `strict` refuses these too.
  bool complete = false;
  bool RefusesMissingRows() const { return strict || complete; }
  bool keepInks = false;  // pictures of inks go to DecodedImage::inks
  // Of pictures of inks that have no profile of their own; null: the plain formula,
  // (1 - c)(1 - k).
  SharedProfile profile;
};

// One of the two.
struct DecodedImage {
  Bitmap bitmap;    // 1 bit: 1 is black; 8 bits: grey; or 24 bits
  InkPicture inks;  // only if it was asked for, and the picture is one of inks
  bool IsInks() const { return !inks.rows.empty(); }
};

// Whether these bytes are such a profile.
K_EXPORT bool IsInkProfile(const std::vector<unsigned char>& profile);

}  // namespace kz
