// The bytes of an image segment, wherever they lie: in a document in consecutive Image
// Picture Data fields, cut anywhere, else one after the other.
#pragma once

#include "API/Filters/Ica/Common/Ica.h"

// The next bytes of the segment. Returns count; fewer when the Image Picture Data
// fields end first, the file then standing at the field that ends them; -1 when a
// read failed.
K_EXPORT int ReadIPD(tagHANDLE* handle, unsigned char* buffer, unsigned int count);

// The same with the bytes passed over.
int SkipIPD(tagHANDLE* handle, unsigned count);

// Writes the introducer of an Image Picture Data field for dataLength bytes that
// the caller writes next. Returns 1 or -5.
K_EXPORT int WriteIPD(tagHANDLE* handle, unsigned int dataLength);
