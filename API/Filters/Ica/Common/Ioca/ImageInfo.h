// The description of a page's image, from which all of loading works.
#pragma once

#include "API/Filters/Ica/Common/Ica.h"

// Describes the image of page *pnPage (from 1; lower values are the first, higher
// ones than there are the last) of a file that stands at its start, and leaves
// the stream at the first Image Data field. *pnPage receives the page described.
// The resolutions are those of the description until an Image Size field comes.
// Returns 1; -7 for a file that ends too early; -9 for one that can't be loaded;
// the code of FindImageObject when a document has no image object.
K_EXPORT int ReadImageInfo(tagHANDLE* handle, _LOADINFO* pInfo, int* pnPage, int nXResolution,
                           int nYResolution);
