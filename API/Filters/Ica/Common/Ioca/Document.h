// What a document begins and ends with, and the writer of its short fields.
#pragma once

#include "API/Filters/Ica/Common/Ica.h"

// The End Document field that WriteMODCAEndDoc writes is this long, and no 0x5A
// ever precedes it, so that an append finds it at the end of the file.
constexpr unsigned END_DOCUMENT_LENGTH = 16;

// Writes a structured field from its record, of which a copy is converted.
// Returns 1 or -5.
K_EXPORT int WriteMODCA_SDF(tagHANDLE* handle, _MODCA_SDF* sdf);

// Writes Begin Document at the file's position. Returns 1 or -5.
K_EXPORT int WriteMODCAStartDoc(tagHANDLE* handle);

// Writes End Document at the end of the file. Returns 1 or -5.
K_EXPORT int WriteMODCAEndDoc(tagHANDLE* handle);

// Writes a field that is nothing but an introducer. Returns 1 or -5.
int WriteEmptyField(tagHANDLE* handle, uint16_t wCode);

// Goes to where the document's last field, End Document, begins; to the 0x5A before
// it when the thread's bWriteCC says that the next field begins with one as well.
// Returns 1; -9 when the file does not end with such a field of the two lengths in
// use, 16 bytes (with a name) and 8 (without); -7 or -4.
int SeekEndDocument(tagHANDLE* handle);
