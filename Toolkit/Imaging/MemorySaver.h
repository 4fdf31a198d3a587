// Saves pictures into memory as JPEG data.
#pragma once

#include "Host/Kernel/Export.h"
#include "Host/Kernel/HostRecords.h"

namespace kz {

// Save formats of SaveToMemory: JPEG with these chroma samplings.
constexpr int kJpeg444 = 10;
constexpr int kJpeg420 = 21;
constexpr int kJpeg422 = 23;

// JPEG quality (100 to 1) of a quality factor (2 = best to 255 = smallest, others
// brought into that range).
K_EXPORT int JpegQuality(int qFactor);
// The quality factor that JpegQuality turns into this quality.
K_EXPORT int QualityFactor(int quality);

// K_SaveToMemoryRoutine. nBitsPerPixel 8 makes a grey JPEG, 24 a colour one, of a
// bitmap of any depth; 0 takes grey for a bitmap that is grey throughout its
// palette. The JFIF header has the bitmap's resolution. Returns 1 and a block of
// *pnSize bytes that the caller frees; -16 for another format, -27 for another
// depth, -9 for a picture of no size or beyond what JPEG can hold, -1 for no memory.
K_EXPORT int SaveToMemory(HGLOBAL* phBlock, _BITMAPHANDLE* pBitmap, int nFormat, int nBitsPerPixel,
                          int nQFactor, uint64_t* pnSize, void* pReserved);

}  // namespace kz
