// One image as one image segment, and as a page.
#pragma once

#include "API/Filters/Ica/Common/Ica.h"

// Writes the segment of the bitmap at the file's position, with withIPD wrapped
// in Image Picture Data fields. pSave->nFormat is replaced by the raw code.
// Returns 1, the file then standing at the segment's end, or the status of what
// failed; the host's write routine is in force again in any case.
K_EXPORT int WriteImage(_SAVEDISPATCH* pSave, tagHANDLE* handle, int withIPD);

// Writes one page at the file's position or, with overEnd, over the End Document
// field that ends the file; the caller writes what follows the page. Returns 1;
// -9 when overEnd finds no End Document field at the end, nothing being written
// then; else the status of what failed.
K_EXPORT int AppendPage(_SAVEDISPATCH* pSave, tagHANDLE* handle, int overEnd);
