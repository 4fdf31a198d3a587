// Writing image data, which are cut into Image Data fields as the encoder delivers
// them. The state of the cutting is the calling thread's.
#pragma once

#include "API/Filters/Ica/Common/Ica.h"

// Writes the header of an Image Data field of dataLength bytes, with withIPD
// after an Image Picture Data introducer of its own. Returns 1 or -5.
K_EXPORT int WriteImageDataHdr(tagHANDLE* handle, unsigned int dataLength, int withIPD);

// Writes image data, as a write routine for the host to install. Every field is
// declared with nMaxSegmentData bytes; the last is put right by FinishImageData.
// Returns count or -1. userData is not used.
K_EXPORT int WriteIMG(tagHANDLE* handle, unsigned char* buffer, unsigned int count, void* userData);

// The same for a direct call; *status receives 1 or why it failed.
K_EXPORT int WriteRawIMG(tagHANDLE* handle, unsigned char* buffer, unsigned int count, int* status);

// Gives the last Image Data field its true length, the file standing at the end
// of the segment, and returns there. Returns 1; -5; -4 when a seek fails.
int FinishImageData(tagHANDLE* handle);
