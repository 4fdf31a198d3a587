// Fax data: those of ITU-T T.4 and T.6, IBM MMR and the byte-aligned rows of TIFF.
#pragma once

#include <cstdint>

#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/Images/Coders/CodedRows.h"

namespace kz {

// Code of TIFF algorithm 2 (modified Huffman, rows begin on byte boundaries, no EOL
// codes), beside the K_FAX_* ones.
constexpr uint32_t kFaxTiffAlgorithm2 = 2;

// Decodes into a bitmap of 1 bit of `width` pixels, in coded order; rows that aren't there
// are white. Height 0: as many rows as there are. Data that don't fit the width are tried
// at the next multiple of 8, 16 and 32 as well, at which their producer may have padded the
// rows. Nothing is made when there is no row.
CodedRows DecodeFaxImage(CodedBytes data, uint32_t code, int width, int height, int64_t maxPixels,
                         Bitmap& bitmap);

}  // namespace kz
