// One image as one image segment.
#pragma once

#include "API/Filters/Ica/Common/Ica.h"

// Writes the segment of the bitmap at the file's position, with withIPD wrapped
// in Image Picture Data fields. pSave->nFormat is replaced by the raw code.
// Returns 1, the file then standing at the segment's end, or the status of what
// failed; the host's write routine is in force again in any case.
K_EXPORT int WriteImage(_SAVEDISPATCH* pSave, tagHANDLE* handle, int withIPD);
