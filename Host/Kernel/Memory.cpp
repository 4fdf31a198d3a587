#include "Host/Kernel/Memory.h"

#include <sys/mman.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "Host/Kernel/Kernel.h"
#include "Host/Kernel/KernelTesting.h"

namespace {

std::atomic<size_t> g_liveBlocks{0};
thread_local int t_allocationsUntilFailure = 0;

bool FailsByRequest() { return t_allocationsUntilFailure > 0 && --t_allocationsUntilFailure == 0; }

unsigned char FoldAscii(unsigned char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c + ('a' - 'A')) : c;
}

// Filling a bitmap of 36 MB page by page costs 9000 page faults, as much time as the
// rows themselves; by large pages it costs 18. Where there are none nothing changes.
void AskForLargePages(void* block, size_t bytes) {
  constexpr size_t kLargePage = size_t{2} << 20;
  if (bytes < 2 * kLargePage) return;
  void* start = block;
  size_t room = bytes;
  if (std::align(kLargePage, kLargePage, start, room) == nullptr) return;
  ::madvise(start, room / kLargePage * kLargePage, MADV_HUGEPAGE);
}

}  // namespace

void* AllocateBlock(size_t size, bool zeroed) {
  if (FailsByRequest()) return nullptr;
  const size_t bytes = size == 0 ? 1 : size;
  void* block = zeroed ? std::calloc(bytes, 1) : std::malloc(bytes);
  if (block == nullptr) return nullptr;
  AskForLargePages(block, bytes);
  ++g_liveBlocks;
  return block;
}

void FreeBlock(void* block) {
  if (block == nullptr) return;
  std::free(block);
  --g_liveBlocks;
}

void* K_LocalAlloc(size_t nSize, size_t nCount, int, const char*) {
  size_t bytes = 0;
  if (__builtin_mul_overflow(nSize, nCount, &bytes)) return nullptr;
  return AllocateBlock(bytes, false);
}

void* K_LocalAllocInit(size_t nSize, size_t nCount, int, const char*) {
  size_t bytes = 0;
  if (__builtin_mul_overflow(nSize, nCount, &bytes)) return nullptr;
  return AllocateBlock(bytes, true);
}

void* K_LocalRealloc(void* pBlock, size_t nSize, int nLine, const char* pszSource) {
  if (pBlock == nullptr) return K_LocalAlloc(nSize, 1, nLine, pszSource);
  if (FailsByRequest()) return nullptr;
  return std::realloc(pBlock, nSize == 0 ? 1 : nSize);
}

void K_LocalFree(void* pBlock, int, const char*) { FreeBlock(pBlock); }

void K_MemorySet(void* pMemory, int nValue, size_t nCount) {
  if (nCount > 0) std::memset(pMemory, nValue, nCount);
}

void K_MemoryCopy(void* pTo, const void* pFrom, size_t nCount) {
  if (nCount > 0) std::memcpy(pTo, pFrom, nCount);
}

int _memicmp(const void* pLeft, const void* pRight, size_t nCount) {
  const auto* left = static_cast<const unsigned char*>(pLeft);
  const auto* right = static_cast<const unsigned char*>(pRight);
  for (size_t i = 0; i < nCount; ++i) {
    const int difference = FoldAscii(left[i]) - FoldAscii(right[i]);
    if (difference != 0) return difference;
  }
  return 0;
}

size_t K_LiveBlocks() { return g_liveBlocks; }

void K_FailAllocation(int nth) { t_allocationsUntilFailure = nth; }
