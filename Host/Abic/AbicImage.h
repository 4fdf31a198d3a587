// What the entry points share: the limits of an image, its row layout, and the guards of
// their memory.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <type_traits>

#include "Host/Abic/Abic.h"
#include "Host/Abic/Coding/Neighbourhood.h"
#include "Host/Abic/Coding/Raster.h"
#include "Host/Kernel/LocalBlock.h"

struct AbicLayout {
  int width;
  int height;
  int depth;
  size_t bytesPerRow;

  size_t Bytes() const { return bytesPerRow * static_cast<size_t>(height); }
};

// Whether an image is one that the codec takes, and then the layout.
inline bool DescribeAbicImage(int width, int height, int depth, AbicLayout& layout) {
  constexpr int most = 0x7FFF;
  const auto sizeFits = [](int size) { return size >= 1 && size <= most; };
  if (!sizeFits(width) || !sizeFits(height)) return false;
  if (depth != 1 && depth != 4 && depth != 8) return false;
  layout = {width, height, depth, static_cast<size_t>((width * depth + 31) / 32 * 4)};
  return true;
}

// The only alignment of rows.
constexpr int kRowAlignment = 4;

constexpr int PaddedWidth(int width) { return (width + 7) / 8 * 8; }
// The width in which rows are coded.
constexpr int CodedWidth(int width, const kz::AbicParameters& parameters) {
  return parameters.exactWidth ? width : PaddedWidth(width);
}

constexpr bool AreValid(const kz::AbicParameters& parameters) {
  return std::popcount(parameters.places) <= kz::kAbicMostPlaces &&
         parameters.places >> kz::kAbicPlaces.size() == 0;
}

// The tag of the coders' allocations.
constexpr const char* kAbicSource = "Host/Abic/AbicImage";

// A coder's working memory: the contexts' states, the raster's rows and one row of pixels.
// One string covers all planes, and so do the states: a plane goes on with what the planes
// before it have taught.
class AbicWorkspace {
 public:
  explicit AbicWorkspace(const AbicLayout& layout)
      : m_width(PaddedWidth(layout.width)),
        m_memory(sizeof(ContextStates) + Raster::MemoryFor(m_width) + static_cast<size_t>(m_width),
                 __LINE__, kAbicSource) {}

  explicit operator bool() const { return static_cast<bool>(m_memory); }
  // New states, all that which every context starts in.
  ContextStates& States() const {
    auto& states = *new (m_memory.get()) ContextStates;
    states.fill(kFirstState);
    return states;
  }
  unsigned char* RasterMemory() const { return m_memory.get() + sizeof(ContextStates); }
  // The padded width's pixels.
  unsigned char* Row() const { return RasterMemory() + Raster::MemoryFor(m_width); }

 private:
  int m_width;
  LocalBlock m_memory;
};
static_assert(std::is_trivially_destructible_v<ContextStates>);

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
