// Decoding of lines with many changing elements, as in halftones: into pixels, with the line
// above as pixels too, and nearly without branches, since none could be guessed there.
#pragma once

#include "Host/Fax/Decoding/LineDecoder.h"

namespace fax {

// DecodeTwoDimensional for a reference line that is drawn; draws `line`.
LineResult DecodeDenseLine(BitReader& reader, int nWidth, const Line& reference, Line& line);

}  // namespace fax
