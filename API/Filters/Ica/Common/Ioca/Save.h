// Saving a page into a file.
#pragma once

#include "API/Filters/Ica/Common/Ica.h"

// Writes one page at the file's position or, with overEnd, over the End Document
// field that ends the file; the caller writes what follows the page. Returns 1;
// -9 when overEnd finds no End Document field at the end, nothing being written
// then; else the status of what failed.
K_EXPORT int AppendPage(_SAVEDISPATCH* pSave, tagHANDLE* handle, int overEnd);
