// The coders, exported: the host's fax library has none of these. Encoders send their
// bytes out through WriteRawIMG.
#pragma once

#include "API/Filters/Ica/Common/Ica.h"

// Runs the encoder of pSave->nFormat, a raw code. The bitmap's view perspective
// is 1 afterwards. Returns 1, -1 for no memory, -16 for a code that isn't its own, or
// the status of what failed.
K_EXPORT int K_InitEncoder(_SAVEDISPATCH* pSave, tagHANDLE* handle);

// Writes the JPEG data that the host makes of the bitmap. Returns 1, the host's
// status, or that of the writer.
K_EXPORT int K_JPEGInitEncoder(_SAVEDISPATCH* pSave, tagHANDLE* handle);

// Writes the ABIC data that the codec library makes of the bitmap, whose depth
// must be the depth to write. Returns 1, -1, -822 when the library or its encoder
// is missing, or the status of what failed.
K_EXPORT int K_ABICInitEncoder(_SAVEDISPATCH* pSave, tagHANDLE* handle);

// Decodes nSize bytes of ABIC data for the target bitmap into *ppOut, a global
// memory block of the caller's. Returns 1; -823 when the codec library or its
// decoder is missing, *ppOut then being untouched; the decoder's own result.
K_EXPORT int K_ABICInitDecoder(_LOADDISPATCH* pDispatch, unsigned char* pData,
                               unsigned char** ppOut, unsigned int nSize);

// Describes raw data to the host's memory loader from the _RAWDATAINFO in pUser:
// format, size, depth, 150 x 150 dpi, flags and, for 8 bits per pixel or fewer, a
// grey palette. Always 1.
K_EXPORT int MyLoadInfoCallBack(int nReserved, _LOADINFO* pInfo, void* pUser);
