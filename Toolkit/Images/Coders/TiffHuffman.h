// Modified Huffman rows that begin on byte boundaries and have no EOL codes (TIFF 6.0,
// section 10), through libtiff.
#pragma once

#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/Images/Coders/CodedRows.h"

namespace kz {

// Fills a 1-bit bitmap, 1 = black. Rows from the first damaged one on are white.
CodedRows DecodeTiffHuffman(CodedBytes data, Bitmap& bitmap);

}  // namespace kz
