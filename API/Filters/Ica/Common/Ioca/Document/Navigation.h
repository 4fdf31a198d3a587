// Moving through a document field by field. All but FindEndOfPage start at the
// file's position; none restores it after a failure.
#pragma once

#include "API/Filters/Ica/Common/Ica.h"

// Counts the Begin Page fields between Begin Document and End Document into
// *pnPages, also when it fails. Returns 1; -9 when End Document comes first; the
// code of ReadSFI when the file ends or a bad introducer is met before.
K_EXPORT int K_GetTotalPages(tagHANDLE* handle, int* pnPages);

// Goes right past the introducer of the End Page field of page nPage, counted
// from 1 from here. Returns 1; 2 when End Document is met first; the code of
// ReadSFI when the file ends or a bad introducer is met first.
K_EXPORT int K_GetEndPage(tagHANDLE* handle, int nPage);

// Finds page nPage of the file, counted from 1, for whoever is about to change the
// file: goes past the whole End Page field, which other producers give a page
// name. *pnPos receives the position after it, or where the search stopped.
// Returns 1; 2 when End Document or the end of the file is met first, -9 when a
// bad introducer is; -7 or -4 when a read or a seek fails, which says nothing of
// the page.
int FindEndOfPage(tagHANDLE* handle, int nPage, int* pnPos);

// Goes to the length bytes of the first Image Picture Data field of an image
// object and stores their position. With bNext the file stands at such a field,
// and the next object's is sought. Returns 1; the code of ReadSFI or SkipSFData.
K_EXPORT int FindImageObject(tagHANDLE* handle, int* pnPos, int bNext);
