// Encoding of single lines.
#pragma once

#include "Host/Fax/BitWriter.h"
#include "Host/Fax/Line.h"

namespace fax {

// The bytes that a line of nWidth pixels takes at most, in either coding, an EOL
// in front and the writer's eight bytes included. No pixel costs more than the
// seven bits of VR(3); only the first and the last run of a line may be empty,
// and make-up codes cost less than the pixels that they stand for.
constexpr size_t MaxLineBytes(int nWidth) { return static_cast<size_t>(nWidth) + 64; }

// Finds the changing elements of nWidth pixels (1 being black, `uInvert` 0; or 0
// being black, `uInvert` all ones) in (nWidth + 7) / 8 bytes.
void FindElements(const unsigned char* pRow, int nWidth, uint64_t uInvert, Line& line);

// Encodes a line one-dimensionally (T.4 4.1).
void EncodeOneDimensional(BitWriter& writer, int nWidth, const Line& line);

// Encodes a line two-dimensionally (T.4 4.2, T.6 2.2) with `reference` as the
// line above.
void EncodeTwoDimensional(BitWriter& writer, int nWidth, const Line& reference, const Line& line);

}  // namespace fax
