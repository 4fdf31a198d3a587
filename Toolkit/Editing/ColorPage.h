// Pictures as pages of function set 11 of IOCA, which other readers take: grey and colour
// with their layout, uncompressed or as JPEG data.
#pragma once

#include <string>

#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Editing/SavePage.h"

namespace kz {

// What a page of function set 11 can be coded with, and its depths; none for what it
// can't hold.
Depths FunctionSet11Depths(Compression compression);

// Writes a picture of such a depth as an uncompressed or JPEG page; request.jpeg goes in
// as it is. -5, -9 or -14 as CodedPageWriter has it, else what the conversion says.
Outcome WriteColorPage(const std::string& file, const Bitmap& bitmap, const SaveRequest& request,
                       int bitsPerPixel);

// Writes the image of a bare IOCA file, as the filter saved it, as a page. Fails in the
// same way; -7 when the bare file can't be read.
Outcome WriteBarePage(const std::string& file, const std::string& bare, const Bitmap& bitmap,
                      const SaveRequest& request, int bitsPerPixel);

}  // namespace kz
