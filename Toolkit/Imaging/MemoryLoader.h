// Loads pictures from memory: JPEG data, and raw fax data that a load-info
// callback describes.
#pragma once

#include "Host/Kernel/Export.h"
#include "Host/Kernel/HostRecords.h"

namespace kz {

// K_LoadMemoryRoutine. JPEG data (ITU-T T.81) become grey at 8 bits, colour at 24
// bits in the colour order asked for, 1 and 4 bits by conversion; 0 bits = what the
// data have. CMYK data are converted. Other data are described by the calling
// thread's load-info callback: fax data of a format that K_LoadRawFax decodes,
// with view perspective and palette as its flags say.
//
// Returns 1; -9 for data that can't be decoded or that nobody describes, for a
// picture of an insane size and for a wrong structure size; -7 when the data end
// before the picture does; -27 for a depth it can't make; -1 for no memory. On
// failure pBitmap is cleared and holds no memory.
K_EXPORT int LoadMemory(unsigned char* pData, _BITMAPHANDLE* pBitmap, uint32_t uStructSize,
                        int nBitsPerPixel, int nColorOrder, uint64_t nSize, void* pReserved,
                        _IMAGEFILEINFO* pFileInfo);

// K_SetLoadInfoCallbackRoutine, per thread. A caller that puts the former callback
// back can't name its user data: the callback displaced last, installed with null
// user data, gets the data back that it had.
K_EXPORT K_LoadInfoCallback SetLoadInfoCallback(K_LoadInfoCallback pfnCallback, void* pUserData);

// What the calling thread's last LoadMemory had to repair in a picture that it
// loaded nevertheless: 1 = nothing, -9 = damaged data were skipped or filled up, so
// that parts of the picture are wrong.
K_EXPORT int LastMemoryLoadDamage();

}  // namespace kz
