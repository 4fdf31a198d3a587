// The one place where the kernel takes and returns memory for its users, so that
// local and global blocks are counted, and made to fail, alike.
#pragma once

#include <cstddef>

// A counted block of at least one byte; null when out of memory.
void* AllocateBlock(size_t size, bool zeroed);
// Null is ignored.
void FreeBlock(void* block);
