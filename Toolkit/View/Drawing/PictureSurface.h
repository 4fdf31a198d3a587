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

// What surfaces carry as it is.
enum class Passing : uint8_t { kNothing, kJpeg, kJpegAndFax };

// Loads a picture; one whose data show all of it, and may pass, as these and without pixels.
// Fax data, of Group 4, become an opaque picture, white where it isn't black. Warns, and fails, as
// LoadPicture does, and with -9 for one that Cairo has no room for: more than 32767 pixels wide or
// high.
Outcome LoadSurface(const ShownPicture& shown, const LoadOptions& options, Passing passing,
                    PictureSurface& picture);

}  // namespace kz
