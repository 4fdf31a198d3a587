// One coded image - a whole one, a tile or a mask - to a picture.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Toolkit/Images/DecodeImage.h"
#include "Toolkit/Images/Decoding/SampleFormat.h"

namespace kz {

struct CodedOptions {
  int64_t maxPixels = kDefaultMaxPixels;
  bool strict = false;    // as of LoadOptions
  bool complete = false;  //
  bool isTile = false;    // its JPEG data may be larger than it
};

struct CodedPicture {
  Bitmap bitmap;    // 1, 8 or 24 bits, red first; or
  InkPicture inks;  // a picture of inks
  bool damaged = false;
  std::vector<std::string> warnings;

  bool HasInks() const { return !inks.rows.empty(); }
  int Width() const { return HasInks() ? inks.width : bitmap.Width(); }
  int Height() const { return HasInks() ? inks.height : bitmap.Height(); }
  int Depth() const { return HasInks() ? 32 : bitmap.BitsPerPixel(); }
};

// Decodes it, top row first. What the data say of the size of JPEG and JBIG2 counts.
// Fails as DecodeImage does.
Outcome DecodeCodedImage(const CodedImage& image, const CodedOptions& options,
                         CodedPicture& picture);

// Fails with -9 and the place when there is no decoder for it. Needs no data.
Outcome CheckSupported(const CodedImage& image);

// The shape of it, of JPEG data as their header says. Sizes are 0 when only decoding would
// tell them.
ImageShape ShapeOfCoded(const CodedImage& image);

}  // namespace kz
