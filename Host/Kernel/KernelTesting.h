// Hooks for tests of code that runs on the kernel. Not for products.
#pragma once

#include <cstddef>

#include "Host/Kernel/Export.h"

extern "C" {

// Blocks (local and global) of all threads that are allocated and not yet freed.
K_EXPORT size_t K_LiveBlocks();
// Kernel files of all threads that are open.
K_EXPORT size_t K_OpenFiles();
// Makes the calling thread's nth allocation from now fail, counted from 1; 0
// switches that off. Counts local, reallocated and global blocks alike.
K_EXPORT void K_FailAllocation(int nth);
// While bAvailable is 0, K_MyGetThreadData returns null on every thread.
K_EXPORT void K_SetThreadDataAvailable(int bAvailable);

}  // extern "C"
