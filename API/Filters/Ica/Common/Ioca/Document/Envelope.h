// What stands around an image segment in a document: the fields that a document and a
// page with one image begin and end with.
#pragma once

#include "API/Filters/Ica/Common/Ica.h"

// Writes a structured field from its record, of which a copy is converted.
// Returns 1 or -5.
K_EXPORT int WriteMODCA_SDF(tagHANDLE* handle, _MODCA_SDF* sdf);

// Writes Begin Document at the file's position. Returns 1 or -5.
K_EXPORT int WriteMODCAStartDoc(tagHANDLE* handle);

// Writes End Document at the end of the file. Returns 1 or -5.
K_EXPORT int WriteMODCAEndDoc(tagHANDLE* handle);

// Goes to where the document's last field, End Document, begins; to the 0x5A before
// it when the thread's bWriteCC says that the next field begins with one as well.
// Returns 1; -9 when the file does not end with such a field of the two lengths in
// use, 16 bytes (with a name) and 8 (without); -7 or -4.
int SeekEndDocument(tagHANDLE* handle);

// Writes Begin Page up to End Object Environment Group for the bitmap, whose
// resolutions become 96 dpi where they are 0. Returns 1 or -5.
K_EXPORT int WriteMODCAStartPage(_SAVEDISPATCH* pSave, tagHANDLE* handle);

// Writes the Image Data Descriptor of a bitmap. Returns 1 or -5.
K_EXPORT int WriteIDD(tagHANDLE* handle, _BITMAPHANDLE* pBitmap);

// Writes End Image Object and End Page. Returns 1 or -5.
K_EXPORT int WriteMODCAEndPage(tagHANDLE* handle);
