// The self-defining fields of an image segment, read from and written to a file.
#pragma once

#include "API/Filters/Ica/Common/Ica.h"

// Reads the next field of the segment and checks it. For Image Data the stream
// then stands at the first data byte. Returns 1; -7 when the segment ends too
// early; -9 for a field, length or value that is not allowed.
K_EXPORT int ReadICA_SDF(tagHANDLE* handle, _ICA_SDF* field);

// Writes a field from its native form in one write; of Image Data only the four
// header bytes. Returns 1 or -5.
K_EXPORT int WriteICA_SDF(tagHANDLE* handle, _ICA_SDF* field);
