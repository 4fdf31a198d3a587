#include <new>

#include "Host/Kernel/Kernel.h"
#include "Host/Kernel/Memory.h"

// The record stands right before the block's bytes, so that the pointer leads
// back to the handle; its alignment is what malloc gives.
struct alignas(std::max_align_t) KvGlobalBlock {
  size_t size;
  int locks;
  int resourceKind;  // 0: not tracked
};

namespace {
constexpr unsigned int kZeroFilled = 0x40;  // WinGlobalAlloc flag
}

HGLOBAL WinGlobalAlloc(unsigned int uFlags, size_t nSize) {
  size_t bytes = 0;
  if (__builtin_add_overflow(nSize, sizeof(KvGlobalBlock), &bytes)) return nullptr;
  void* memory = AllocateBlock(bytes, (uFlags & kZeroFilled) != 0);
  if (memory == nullptr) return nullptr;
  return new (memory) KvGlobalBlock{nSize, 0, 0};
}

void* WinGlobalLock(HGLOBAL hBlock) {
  if (hBlock == nullptr) return nullptr;
  ++hBlock->locks;
  return hBlock + 1;
}

int WinGlobalUnlock(HGLOBAL hBlock) {
  if (hBlock == nullptr || hBlock->locks == 0) return 0;
  return --hBlock->locks;
}

HGLOBAL WinGlobalHandle(const void* pBlock) {
  if (pBlock == nullptr) return nullptr;
  return static_cast<HGLOBAL>(const_cast<void*>(pBlock)) - 1;
}

size_t WinGlobalSize(HGLOBAL hBlock) { return hBlock == nullptr ? 0 : hBlock->size; }

HGLOBAL WinGlobalFree(HGLOBAL hBlock) {
  FreeBlock(hBlock);
  return nullptr;
}

void K_GlobalFree(void* pBlock, int, const char*) { WinGlobalFree(WinGlobalHandle(pBlock)); }

int K_ResourceAdd(int nKind, HGLOBAL hBlock, int, const char*) {
  if (hBlock == nullptr) return 0;
  hBlock->resourceKind = nKind;
  return K_SUCCESS;
}

void K_OsFreeHandle(HGLOBAL hBlock, int, const char*) { WinGlobalFree(hBlock); }
