// PNG files in memory.
#pragma once

#include <vector>

#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Base/Tested.h"

namespace kz {

// Makes a png file of a bitmap; with `whiteIsClear`, of 1-bit pictures whose 0 bits are white,
// these let what lies under them be seen. Fails as PictureWriter does, and the data aren't
// whole then.
KZ_TESTED Outcome EncodePng(const Bitmap& bitmap, bool whiteIsClear,
                            std::vector<unsigned char>& data);

}  // namespace kz
