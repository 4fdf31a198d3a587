// A second host, for tests: libkvkrn.so.19 and libkzfax.so.19 made of what filters
// are promised and of nothing more. It complains of whatever nobody promised (null or
// no bytes where memory is meant, user data that don't come back, a library loaded
// twice), keeps nothing that it wasn't asked to keep, and answers with other numbers
// than the usual ones where only their sign says something.
#pragma once

#include <string>

#include "Host/Kernel/Kernel.h"

namespace strict_host {

// What the calls since the last time did wrong, and what they didn't give back, a
// line each: files, the codec library, the thread's routines.
K_EXPORT std::string Complaints();

// A bitmap without a palette whose rows are 0, for K_FreeBitmap to release.
K_EXPORT _BITMAPHANDLE MakeBitmap(int nWidth, int nHeight, int nBitsPerPixel, int nViewPerspective);

}  // namespace strict_host
