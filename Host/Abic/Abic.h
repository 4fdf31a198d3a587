// The ABIC codec library, KZABI.so: adaptive binary arithmetic coding (the Q-Coder) of
// bilevel, 4-bit and 8-bit images. Users load it at run time and find these functions by
// name. The first two are what every such library has.
//
// Rows are top row first and padded to nAlign bytes (4 is the only alignment known):
// (width * depth + 31) / 32 * 4 bytes. Padding is ignored when encoding and decodes as 0.
//
// The code string is that of the Q-Coder of 1988 without a header and without an end
// marker. Images of several bits a pixel (concatenated ABIC) are the most significant bit
// of every pixel, then the next bit of every pixel, and so on, as one raster. What is
// published leaves points open; AbicParameters has them, and what we take them for. The
// environment may name others, which then stand for the usual ones (AbicText.h).
#pragma once

#include <cstddef>
#include <cstdint>

#include "Host/Abic/AbicParameters.h"
#include "Host/Kernel/Export.h"

// A code string and the image that it holds: 1 to 0x7FFF pixels each way of 1, 4 or 8 bits.
struct AbicString {
  const unsigned char* data;
  size_t size;
  int width;
  int height;
  int depth;
};

// How a string was read.
struct AbicReading {
  kz::AbicParameters parameters;
  kz::AbicFit fit;
  // The string is one that this library wrote before it had the Q-Coder; there are no
  // parameters.
  bool earlier = false;
};

extern "C" {

// Decodes nSize bytes into *ppRows, a new global memory block that the caller frees with
// WinGlobalFree(WinGlobalHandle(*ppRows)); depth is 1 when bBilevel is nonzero, else 4. The
// usual parameters are tried first, then other likely ones until some fit. If none do, the
// image is that of the usual ones, white from the row on in which the data end.
//
// Returns 1; -9 for a size (1 to 0x7FFF each way) or an alignment it can't have, or for
// parameters in the environment that aren't understood; -7 for no data, or so few that they
// can't hold the image; -1 for no memory. On failure *ppRows is untouched. Neither time nor
// memory grows faster than image and string, and an image that nSize bytes can't hold takes
// none.
K_EXPORT int K_DecodeABIC(const unsigned char* pData, unsigned int nSize, unsigned char** ppRows,
                          int nAlign, int nWidth, int nHeight, int bBilevel);

// Encodes rows with the usual parameters into *ppData, a new global memory block of *pnSize
// bytes that the caller frees like the above. Returns 1; -9 or -1 as above, the outputs
// then untouched.
K_EXPORT int K_EncodeABIC(const unsigned char* pRows, int nAlign, int nWidth, int nHeight,
                          unsigned char** ppData, uint64_t* pnSize, int bBilevel);

// As K_DecodeABIC, of any depth. The parameters of *pReading give the framing that the image
// says, which is tried before others, and no more; it gets how the string was read.
K_EXPORT int K_DecodeLikelyABIC(const AbicString* pString, unsigned char** ppRows,
                                AbicReading* pReading);

// Decodes with these parameters only and tells how they fit. A null ppRows asks for no
// image; a string that doesn't fit then takes no longer than it shows.
K_EXPORT int K_DecodeABICWith(const AbicString* pString, const kz::AbicParameters* pParameters,
                              unsigned char** ppRows, kz::AbicFit* pFit);

// As K_EncodeABIC with other parameters, for an image of the string's size and depth; its
// data and size aren't read.
K_EXPORT int K_EncodeABICWith(const unsigned char* pRows, const AbicString* pImage,
                              const kz::AbicParameters* pParameters, unsigned char** ppData,
                              uint64_t* pnSize);

}  // extern "C"

// Types of these, for GetFunction.
using K_DecodeAbicRoutine = decltype(&K_DecodeABIC);
using K_EncodeAbicRoutine = decltype(&K_EncodeABIC);
using K_DecodeLikelyAbicRoutine = decltype(&K_DecodeLikelyABIC);
using K_DecodeAbicWithRoutine = decltype(&K_DecodeABICWith);
using K_EncodeAbicWithRoutine = decltype(&K_EncodeABICWith);
