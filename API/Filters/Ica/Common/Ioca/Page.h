// The envelope of a page that holds one image: everything before and after the
// image segment.
#pragma once

#include "API/Filters/Ica/Common/Ica.h"

// Writes Begin Page up to End Object Environment Group for the bitmap, whose
// resolutions become 96 dpi where they are 0. Returns 1 or -5.
K_EXPORT int WriteMODCAStartPage(_SAVEDISPATCH* pSave, tagHANDLE* handle);

// Writes End Image Object and End Page. Returns 1 or -5.
K_EXPORT int WriteMODCAEndPage(tagHANDLE* handle);
