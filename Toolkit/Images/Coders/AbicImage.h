// ABIC data, through the host's codec library.
#pragma once

#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/Images/Coders/CodedRows.h"

namespace kz {

// Decodes a picture of 1 or 4 bits a pixel into a bitmap of so many, the samples as they
// are coded. Fails with -823 without the library, else as K_DecodeABIC does; there is no
// part of a picture.
CodedRows DecodeAbicImage(CodedBytes data, int width, int height, int bits, Bitmap& bitmap);

}  // namespace kz
