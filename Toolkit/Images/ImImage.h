// IM images, the raster images that came before IOCA ("IM images" of docs/format.md).
#pragma once

#include <cstdint>

#include "Toolkit/Base/Tested.h"
#include "Toolkit/Files/FileWindow.h"
#include "Toolkit/Images/DecodeImage.h"
#include "Toolkit/Images/PicturePlace.h"

namespace kz {

// Makes the picture of the object at `place`: 1 bit per pixel, or 24 for one that isn't
// black. Cells that overlap show all that any of them has. An image point of a
// double-dot image is one pixel, and the resolution half of what it says. Data that end too
// early leave the rest white, with a warning, and set `damaged`; with options.strict they
// fail with -7. Fails with -9 for a picture without a size or above the limit.
Outcome LoadImImage(FileWindow& file, const PicturePlace& place, const LoadOptions& options,
                    DecodedImage& image, bool& damaged);

// What LoadImImage makes, without making it.
struct ImImageShape {
  int width = 0;
  int height = 0;
  int bitsPerPixel = 1;
  int xResolution = 0;  // dots per inch; 0 = not known
  int yResolution = 0;
  bool celled = false;
};
KZ_TESTED Outcome DescribeImImage(FileWindow& file, const PicturePlace& place, ImImageShape& shape);

}  // namespace kz
