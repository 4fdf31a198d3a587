// Coders that make bytes of bytes: those of TIFF 6.0 for any kind of samples.
#pragma once

#include <cstddef>
#include <vector>

#include "Toolkit/Images/Coders/CodedRows.h"

namespace kz {

// PackBits (TIFF 6.0, section 9). Gives at most `limit` bytes; fewer when the data end.
void DecodePackBits(CodedBytes data, size_t limit, std::vector<unsigned char>& bytes);

// LZW (TIFF 6.0, section 13). Gives at most `limit` bytes; fewer when the data end. False
// for a code that can't be: what came before it is given.
bool DecodeLzw(CodedBytes data, size_t limit, std::vector<unsigned char>& bytes);

// Undoes the horizontal predictor (TIFF 6.0, section 14) in rows of bytes, of which
// `components` make a pixel.
void UndoPredictor(std::vector<unsigned char>& bytes, size_t rowBytes, size_t components);

}  // namespace kz
