// Pictures whose data go into drawn files as they are, and those that are black on white.
#pragma once

#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/Documents/Document.h"

namespace kz {

// Reads a picture's data if they show all of it, from the top, in colours that every reader of
// the file takes for the same; false, without a reason, for a picture that needs its pixels.
bool ReadPassedData(const ShownPicture& shown, const LoadOptions& options, PictureData& data);

// Whether a bitmap has 1 bit a pixel, 1 bits are black and others white.
bool IsBlackOnWhite(const Bitmap& bitmap);

}  // namespace kz
