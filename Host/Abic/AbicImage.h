// What the two entry points share: the limits of an image, its row layout, and
// the guards of their memory.
#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>

#include "Host/Abic/BitPlane.h"
#include "Host/Kernel/LocalBlock.h"

struct AbicLayout {
  int width;
  int height;
  int depth;
  size_t bytesPerRow;
};

// Whether an image and its row alignment are ones that the codec takes, and then
// the layout.
inline bool DescribeAbicImage(int align, int width, int height, bool bilevel, AbicLayout& layout) {
  const auto sizeFits = [](int size) { return size >= 1 && size <= kMaxPlaneWidth; };
  if (align != 4 || !sizeFits(width) || !sizeFits(height)) return false;
  const int depth = bilevel ? 1 : 4;
  layout = {width, height, depth, static_cast<size_t>((width * depth + 31) / 32 * 4)};
  return true;
}

// A coder's working memory. One string covers all planes, and so do the states: a
// plane goes on with what the planes before it have taught.
struct AbicWorkspace {
  ContextStates states;
  PlaneRows rows;
};
static_assert(std::is_trivially_destructible_v<AbicWorkspace>);

// The tag of the coders' allocations.
constexpr const char* kAbicSource = "Host/Abic/AbicImage";

struct GlobalBlockFree {
  void operator()(unsigned char* block) const { WinGlobalFree(WinGlobalHandle(block)); }
};
using GlobalBytes = std::unique_ptr<unsigned char[], GlobalBlockFree>;

// WinGlobalAlloc: zero-filled.
constexpr unsigned int kZeroFilled = 0x40;

// A locked block; null when out of memory.
inline GlobalBytes AllocateGlobalBytes(size_t size, unsigned int flags) {
  return GlobalBytes(static_cast<unsigned char*>(WinGlobalLock(WinGlobalAlloc(flags, size))));
}
