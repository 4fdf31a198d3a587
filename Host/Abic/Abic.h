// The ABIC codec library, KZABI.so: adaptive binary arithmetic coding (the
// Q-Coder) of bilevel and 4-bit images. Users load it at run time and find
// these two functions by name.
//
// Rows are top row first and padded to nAlign bytes (4 is the only alignment
// known): (nWidth * depth + 31) / 32 * 4 bytes, depth being 1 when bBilevel is
// nonzero, else 4. Padding is ignored when encoding and decodes as 0.
//
// The code string. No data of another producer is at hand, and what is published of
// the original scheme (7 pixels of context, 30 probability states) was no ground to
// rebuild it bit for bit. So the string is one that a public standard defines and
// that is smaller besides: the Q-Coder's descendant of ITU-T T.88 Annex E with the
// 16-pixel context of its generic regions. For a bilevel image it is the data part
// of such a region: template 0, adaptive pixels at their nominal places, no typical
// prediction, up to and with the end marker 0xFF 0xAC. Concatenated ABIC (depth 4)
// codes the most significant bit of every pixel of the image first, then the next
// bit of every pixel, and so on, as one string: the context is made of bits of the
// same plane, as for a bilevel image, and its states go on from plane to plane.
// Whoever needs another string replaces this library.
#pragma once

#include <cstdint>

#include "Host/Kernel/Export.h"

extern "C" {

// Decodes nSize bytes into *ppRows, a new global memory block that the caller
// frees with WinGlobalFree(WinGlobalHandle(*ppRows)). What follows the end marker,
// or is left when the image is complete, is ignored; damaged bytes give some image.
//
// Returns 1; -9 for a size (1 to 0x7FFF each way) or an alignment it can't have;
// -7 when the data end before the image: no data, a string without its end marker,
// or one with too few bits for the image; -1 for no memory. On failure *ppRows is
// untouched. Neither time nor memory grows faster than the image, and an image
// that nSize bytes can't hold takes none.
K_EXPORT int K_DecodeABIC(const unsigned char* pData, unsigned int nSize, unsigned char** ppRows,
                          int nAlign, int nWidth, int nHeight, int bBilevel);

// Encodes rows into *ppData, a new global memory block of *pnSize bytes that the
// caller frees like the above. Returns 1; -9 or -1 as above, the outputs then
// untouched.
K_EXPORT int K_EncodeABIC(const unsigned char* pRows, int nAlign, int nWidth, int nHeight,
                          unsigned char** ppData, uint64_t* pnSize, int bBilevel);

}  // extern "C"

// Types of the two, for GetFunction.
using K_DecodeAbicRoutine = decltype(&K_DecodeABIC);
using K_EncodeAbicRoutine = decltype(&K_EncodeABIC);
