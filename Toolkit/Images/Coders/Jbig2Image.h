// JBIG2 data (ITU-T T.88), through jbig2dec.
#pragma once

#include <cstdint>

#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/Images/Coders/CodedRows.h"

namespace kz {

// Decodes the page that an embedded stream or a file holds into a bitmap of 1 bit. What
// jbig2dec complains of is damage; the page has what was decoded then. Fails with -9 for a
// page above the limit and -7 when there is none. Bounds memory and work by maxPixels.
CodedRows DecodeJbig2Image(CodedBytes data, int64_t maxPixels, Bitmap& bitmap);

}  // namespace kz
