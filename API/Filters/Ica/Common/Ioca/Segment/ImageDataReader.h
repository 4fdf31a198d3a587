// The image data of a segment as one stream of bytes: the data of the segment's Image
// Data fields, cut anywhere. The position in it is the calling thread's state.
#pragma once

#include "API/Filters/Ica/Common/Ica.h"

// The next bytes of the image data, as a read routine for the host to install.
// Returns count; fewer, also noted in nImageDataRead, when the image data end
// first; -1 on any failure. userData is not used.
K_EXPORT int ReadIMG(tagHANDLE* handle, unsigned char* buffer, unsigned int count, void* userData);

// The same for a direct call. On failure *status is why: -7, or the code of
// ReadICA_SDF; else it stays as it was.
K_EXPORT int ReadRawIMG(tagHANDLE* handle, unsigned char* buffer, unsigned int count, int* status);

// Passes over the image data from where the readers stand to the field that
// follows them and counts their bytes. Returns 1, or the status of ReadRawIMG.
int MeasureImageData(tagHANDLE* handle, uint32_t* pnSize);

// Gathers the data of consecutive Image Data fields at the file's position with
// the host's own reads, until size bytes are there or another field comes. Of a
// field that does not fit into size bytes it keeps what fits and skips the rest.
// Returns 1, or -7 for a short read.
K_EXPORT int GetBufferData(tagHANDLE* handle, unsigned char* buffer, unsigned int size);
