// The filter's side of the decoders that it does not contain.
#pragma once

#include "API/Filters/Ica/Common/Ica.h"

// Describes raw data to the host's memory loader from the _RAWDATAINFO in pUser:
// format, size, depth, 150 x 150 dpi, flags and, for 8 bits per pixel or fewer, a
// grey palette. Always 1.
K_EXPORT int MyLoadInfoCallBack(int nReserved, _LOADINFO* pInfo, void* pUser);

// Decodes nSize bytes of ABIC data for the target bitmap into *ppOut, a global
// memory block of the caller's. Returns 1; -823 when the codec library or its
// decoder is missing, *ppOut then being untouched; the decoder's own result.
K_EXPORT int K_ABICInitDecoder(_LOADDISPATCH* pDispatch, unsigned char* pData,
                               unsigned char** ppOut, unsigned int nSize);
