// Pictures as Cairo draws them.
#pragma once

#include "Toolkit/Documents/Document.h"
#include "Toolkit/View/Drawing/CairoHandles.h"

namespace kz {

// A picture: an opaque one, or, as `isMask`, one whose 1 bits are black and whose others
// leave what lies under them.
struct PictureSurface {
  CairoSurface surface;
  bool isMask = false;
  int width = 0;  // pixels
  int height = 0;
};

// Loads a picture; with `passJpeg`, one of JPEG data that show all of it as these, without
// pixels, for surfaces that carry them as they are. Warns, and fails, as
// LoadPicture does, and with -9 for one that Cairo has no room for: more than 32767 pixels wide or
// high.
Outcome LoadSurface(const ShownPicture& shown, const LoadOptions& options, bool passJpeg,
                    PictureSurface& picture);

}  // namespace kz
