// Decoding of single lines.
#pragma once

#include "Host/Fax/BitReader.h"
#include "Host/Fax/Line.h"

namespace fax {

enum class LineResult {
  Complete,
  BadCode,       // no code, or a run past the line's end; the reader is at or after it
  Uncompressed,  // uncompressed mode is asked for
};

// Decodes a line of nWidth pixels coded one-dimensionally (T.4 4.1). On failure
// `line` is of no use.
LineResult DecodeOneDimensional(BitReader& reader, int nWidth, Line& line);

// The same, but draws the line and doesn't list it.
LineResult DrawOneDimensional(BitReader& reader, int nWidth, Line& line);

// Decodes a line coded two-dimensionally (T.4 4.2, T.6 2.2) with `reference` as
// the line above. On failure `line` is of no use.
LineResult DecodeTwoDimensional(BitReader& reader, int nWidth, const Line& reference, Line& line);

}  // namespace fax
