// The ABIC codec library, KZABI.so: adaptive binary arithmetic coding (the
// Q-Coder) of bilevel and 4-bit images. Users load it at run time and find
// these two functions by name.
//
// Rows are top row first and padded to nAlign bytes (4 is the only alignment
// known): (nWidth * depth + 31) / 32 * 4 bytes, depth being 1 when bBilevel is
// nonzero, else 4. Padding decodes as 0. Concatenated ABIC (depth 4) codes the
// most significant bit of every pixel of the image first, then the next bit of
// every pixel, and so on, as one string.
#pragma once

#include <cstdint>

#include "Host/Kernel/Export.h"

extern "C" {

// Decodes nSize bytes into *ppRows, a new global memory block that the caller
// frees with WinGlobalFree(WinGlobalHandle(*ppRows)). Any bytes decode to some
// image of the size asked for. Returns 1; -9 for a size or an alignment it can't
// have; -7 for no data; -1 for no memory. On failure *ppRows is untouched.
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
