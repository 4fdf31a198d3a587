// The encoders that do not run in the host's fax library: uncompressed, ABIC and
// JPEG. Their bytes go out through WriteRawIMG.
#pragma once

#include "API/Filters/Ica/Common/Ica.h"

// Runs the encoder of pSave->nFormat, a raw code. The bitmap's view perspective
// is 1 afterwards. Returns 1, -1 for no memory, or the status of what failed.
K_EXPORT int K_InitEncoder(_SAVEDISPATCH* pSave, tagHANDLE* handle);

// Writes the JPEG data that the host makes of the bitmap. Returns 1, the host's
// status, or that of the writer.
K_EXPORT int K_JPEGInitEncoder(_SAVEDISPATCH* pSave, tagHANDLE* handle);

// Writes the ABIC data that the codec library makes of the bitmap, whose depth
// must be the depth to write. Returns 1, -1, -822 when the library or its encoder
// is missing, or the status of what failed.
K_EXPORT int K_ABICInitEncoder(_SAVEDISPATCH* pSave, tagHANDLE* handle);
