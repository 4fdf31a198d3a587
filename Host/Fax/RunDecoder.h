// Decoding of one-dimensional lines into pixels.
#pragma once

#include "Host/Fax/LineDecoder.h"

namespace fax {

// DecodeOneDimensional that draws `line` and doesn't list it.
LineResult DecodeRunsToPixels(BitReader& reader, int nWidth, Line& line);

}  // namespace fax
