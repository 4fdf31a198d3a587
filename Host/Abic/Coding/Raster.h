// The rows of a raster that coding looks at: the one being coded and those above it.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "Host/Abic/Coding/Neighbourhood.h"
#include "Host/Kernel/LocalBlock.h"

// Pixels as bytes of 0 or 1, in one sequence. Where the edges wrap, rows follow each other
// without a gap, so that a row's neighbours beyond its ends are those of the raster;
// otherwise white stands between them. Pixels that aren't coded yet are 0.
class Raster {
 public:
  // Pixels are read in groups of so many, and by words of eight around a group.
  static constexpr int kGroup = 64;
  static constexpr int kAround = 8;

  // Bytes that a raster takes.
  static constexpr size_t MemoryFor(int width) { return kSequence + RoomFor(width + kReach); }

  // In memory of that size. Everything above the first row is white.
  Raster(unsigned char* memory, int width, bool wraps)
      : m_memory(memory),
        m_size(MemoryFor(width)),
        m_width(width),
        m_stride(wraps ? width : width + kReach),
        // Where the row above goes on into this one, this one must have got that far.
        m_ahead(wraps ? std::clamp(width - kReach, 1, kGroup) : kGroup),
        m_reachedRows(kRowsAbove + (wraps ? (width + kReach - 1) / width : 0)) {
    Clear();
  }

  // The current row, of Width() pixels; the rows above it lie Stride() before each other.
  unsigned char* Row() const { return m_row; }
  int Width() const { return m_width; }
  ptrdiff_t Stride() const { return m_stride; }
  // For how many pixels on end the neighbours above are known before the first is coded.
  int Ahead() const { return m_ahead; }
  // Whether all neighbours that aren't in the current row are white: where the edges wrap,
  // also those at the ends of rows farther up.
  bool IsWhiteAbove() const { return m_whiteRows >= m_reachedRows; }

  // The row below becomes the current one.
  void NextRow() {
    m_whiteRows =
        std::memchr(m_row, 1, static_cast<size_t>(m_width)) == nullptr ? m_whiteRows + 1 : 0;
    m_row += m_stride;
    if (m_row + m_stride + kPast <= m_memory + m_size) return;
    const size_t kept = Before();
    std::memmove(m_memory, m_row - kept, kept);
    std::memset(m_memory + kept, 0, m_size - kept);
    m_row = m_memory + kept;
  }
  // Makes all white.
  void Clear() {
    std::memset(m_memory, 0, m_size);
    m_row = m_memory + Before();
    m_whiteRows = m_reachedRows;
  }

 private:
  static constexpr int kRowsAbove = 2;
  // How far reading may go past a row.
  static constexpr int kPast = kGroup + 2 * kAround;
  static constexpr size_t kSequence = size_t{64} * 1024;

  // For one row with what lies around it.
  static constexpr size_t RoomFor(ptrdiff_t stride) {
    return kAround + (kRowsAbove + 1) * static_cast<size_t>(stride) + kPast;
  }
  size_t Before() const { return kAround + kRowsAbove * static_cast<size_t>(m_stride); }

  unsigned char* m_memory;
  size_t m_size;
  int m_width;
  ptrdiff_t m_stride;
  int m_ahead;
  int m_reachedRows;
  int64_t m_whiteRows = 0;
  unsigned char* m_row = nullptr;
};
