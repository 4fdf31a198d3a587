// ABIC data, through the host's codec library.
#pragma once

#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/Images/Coders/CodedRows.h"

namespace kz {

// The size of a picture of 1, 4 or 8 bits a pixel, and how its data are said to be framed.
struct AbicRequest {
  int width;
  int height;
  int bits;
  bool exactWidth = false;  // rows are coded in it, not in the next multiple of 8
  int viewPerspective = K_VIEW_TOP_DOWN;
};

// Decodes a picture into a bitmap of so many bits, the samples as they are coded and the
// rows stored in the order in which they are. Data that fit neither the usual parameters nor
// other likely ones give all rows, but `damaged`, and `what` says in which way; `status` is
// -7 then if they end early. A codec library that doesn't tell how data fit is taken at its
// word. Fails with -823 without the library, with -9 for 8 bits of more rows than a library
// of only 1 and 4 bits can have, else as K_DecodeABIC does.
CodedRows DecodeAbicImage(CodedBytes data, const AbicRequest& request, Bitmap& bitmap);

}  // namespace kz
