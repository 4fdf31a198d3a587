// Local and global memory, the count of live blocks and failing on request.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <thread>

#include "Host/Kernel/Kernel.h"
#include "Host/Kernel/KernelTesting.h"

namespace {

constexpr const char* kTag = "test";

TEST(Memory, BlocksOfEverySizeAreCountedUntilFreed) {
  const size_t before = K_LiveBlocks();
  void* none = K_LocalAlloc(0, 5, 1, kTag);
  auto* zeroed = static_cast<unsigned char*>(K_LocalAllocInit(7, 100, 1, kTag));
  HGLOBAL global = WinGlobalAlloc(0, 0);
  ASSERT_TRUE(none != nullptr && zeroed != nullptr && global != nullptr);
  EXPECT_EQ(std::count(zeroed, zeroed + 700, 0), 700);
  EXPECT_EQ(K_LiveBlocks(), before + 3);
  std::memcpy(zeroed, "kept", 5);
  zeroed = static_cast<unsigned char*>(K_LocalRealloc(zeroed, 1 << 20, 1, kTag));
  EXPECT_STREQ(reinterpret_cast<char*>(zeroed), "kept");
  EXPECT_EQ(K_LiveBlocks(), before + 3);
  zeroed = static_cast<unsigned char*>(K_LocalRealloc(zeroed, 0, 1, kTag));
  EXPECT_NE(zeroed, nullptr) << "size 0 shrinks, it doesn't free";
  void* made = K_LocalRealloc(nullptr, 10, 1, kTag);
  EXPECT_EQ(K_LiveBlocks(), before + 4);
  for (void* block : {none, static_cast<void*>(zeroed), made, static_cast<void*>(nullptr)}) {
    K_LocalFree(block, 1, kTag);
  }
  EXPECT_EQ(WinGlobalFree(global), nullptr);
  EXPECT_EQ(K_LiveBlocks(), before);
}

TEST(Memory, SizesThatOverflowOrDoNotFitGiveNull) {
  const size_t before = K_LiveBlocks();
  const size_t half = SIZE_MAX / 2 + 1;
  EXPECT_EQ(K_LocalAlloc(half, 2, 1, kTag), nullptr);
  EXPECT_EQ(K_LocalAllocInit(3, SIZE_MAX / 2, 1, kTag), nullptr);
  EXPECT_EQ(WinGlobalAlloc(0, SIZE_MAX), nullptr);
  EXPECT_EQ(K_LiveBlocks(), before);
}

TEST(Memory, TheNthAllocationOfTheThreadFailsAndOnlyThat) {
  const size_t before = K_LiveBlocks();
  for (int nth = 1; nth <= 4; ++nth) {
    K_FailAllocation(nth);
    std::jthread([] { K_LocalFree(K_LocalAlloc(1, 1, 1, kTag), 1, kTag); }).join();
    void* local = K_LocalAlloc(1, 1, 1, kTag);
    auto* zeroed = static_cast<unsigned char*>(K_LocalAllocInit(1, 1, 1, kTag));
    HGLOBAL global = WinGlobalAlloc(0, 1);
    void* grown = K_LocalRealloc(zeroed, 5000, 1, kTag);
    EXPECT_EQ(local == nullptr, nth == 1);
    EXPECT_EQ(zeroed == nullptr, nth == 2);
    EXPECT_EQ(global == nullptr, nth == 3);
    EXPECT_EQ(grown == nullptr, nth == 4);
    if (grown == nullptr) {
      EXPECT_EQ(*zeroed, 0) << "the old block stays";
    }
    K_LocalFree(local, 1, kTag);
    K_LocalFree(grown != nullptr ? grown : zeroed, 1, kTag);
    WinGlobalFree(global);
    EXPECT_EQ(K_LiveBlocks(), before);
  }
  K_FailAllocation(1);
  K_FailAllocation(0);
  void* block = K_LocalAlloc(1, 1, 1, kTag);
  EXPECT_NE(block, nullptr);
  K_LocalFree(block, 1, kTag);
}

TEST(Memory, GlobalBlocksKnowTheirSizeHandleAndPointer) {
  const size_t before = K_LiveBlocks();
  for (const size_t size : {size_t{0}, size_t{1}, size_t{1} << 20}) {
    HGLOBAL block = WinGlobalAlloc(0x40, size);
    EXPECT_EQ(WinGlobalSize(block), size);
    auto* bytes = static_cast<unsigned char*>(WinGlobalLock(block));
    EXPECT_EQ(WinGlobalLock(block), bytes);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(bytes) % alignof(std::max_align_t), 0u);
    EXPECT_EQ(std::count(bytes, bytes + size, 0), static_cast<ptrdiff_t>(size));
    EXPECT_EQ(WinGlobalHandle(bytes), block);
    EXPECT_EQ(WinGlobalUnlock(block), 1);
    EXPECT_EQ(WinGlobalUnlock(block), 0);
    EXPECT_EQ(K_ResourceAdd(3, block, 1, kTag), K_SUCCESS);
    K_OsFreeHandle(block, 1, kTag);
  }
  EXPECT_EQ(WinGlobalLock(nullptr), nullptr);
  EXPECT_EQ(WinGlobalHandle(nullptr), nullptr);
  K_GlobalFree(nullptr, 1, kTag);
  EXPECT_EQ(K_LiveBlocks(), before);
}

}  // namespace
