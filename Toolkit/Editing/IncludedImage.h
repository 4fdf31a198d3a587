// Puts an image that a page includes from a resource group into the page itself.
#pragma once

#include <string_view>

#include "Toolkit/Documents/Resources.h"
#include "Toolkit/Editing/Pieces.h"

namespace kz {

// The name in the data of an Include Object field that includes an IOCA image; empty
// for other objects.
std::string_view IncludedImageName(std::string_view include);

// Adds an image object that FindImage found to the pieces, placed and sized as the
// Include Object data say: what they leave open stays as the object has it. `prefixed`:
// the fields made anew get a 0x5A; `form` is that of all others. -9 when that makes
// a field longer than fields can be.
Outcome AddIncludedImage(PieceList& pieces, int source, ByteRange image, std::string_view include,
                         PieceForm form, bool prefixed);

}  // namespace kz
