// Moving through a document field by field. All of these start at the file's
// position and restore none after a failure.
#pragma once

#include "API/Filters/Ica/Common/Ica.h"

// Counts the Begin Page fields between Begin Document and End Document into
// *pnPages, also when it fails. Returns 1; -9 when End Document comes first; the
// code of ReadSFI when the file ends or a bad introducer is met before.
K_EXPORT int K_GetTotalPages(tagHANDLE* handle, int* pnPages);

// Goes right behind the introducer of the End Page field of page nPage, counted
// from 1 from here. Returns 1; 2 when End Document is met first; the code of
// ReadSFI when the file ends or a bad introducer is met first.
K_EXPORT int K_GetEndPage(tagHANDLE* handle, int nPage);

// The same, but goes behind the whole End Page field, which other producers give
// a page name. *pnPos receives the position behind it, or where the search
// stopped. Returns as K_GetEndPage does, or -4 when a seek fails.
int FindEndOfPage(tagHANDLE* handle, int nPage, int* pnPos);

// Goes to the length bytes of the first Image Picture Data field of an image
// object and stores their position. With bNext the file stands at such a field,
// and the next object's is sought. Returns 1; the code of ReadSFI or SkipSFData.
K_EXPORT int FindImageObject(tagHANDLE* handle, int* pnPos, int bNext);
