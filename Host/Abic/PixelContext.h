// The context in which a pixel of a bit plane is coded: the sixteen pixels around
// it that were coded before, in the arrangement of T.88 figure 3 (template 0 with
// its adaptive pixels at their nominal places).
//
//       . . . . .
//     . . . . . . .
//   . . . . X
//
// As an index the context has the pixels in reading order, the left neighbour of
// X in bit 0. Pixels outside the plane are 0.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "Host/Abic/ArithmeticCoder.h"

constexpr int kMaxPlaneWidth = 0x7FFF;
constexpr int kWordPixels = 32;

// One row of a bit plane in words of 32 pixels, the first pixel in the most
// significant bit. A word of 0 stands on either side; bits after the width are 0.
struct PlaneRow {
  static constexpr size_t kMaxWords = (kMaxPlaneWidth + kWordPixels - 1) / kWordPixels;

  uint32_t& Word(int index) { return m_words[static_cast<size_t>(index) + 1]; }
  uint32_t Word(int index) const { return m_words[static_cast<size_t>(index) + 1]; }
  // The word with half a word on either side.
  uint64_t Window(int index) const {
    return uint64_t{Word(index - 1)} << 48 | uint64_t{Word(index)} << 16 | Word(index + 1) >> 16;
  }

 private:
  std::array<uint32_t, kMaxWords + 2> m_words{};
};

constexpr int PlaneWords(int width) { return (width + kWordPixels - 1) / kWordPixels; }
// Pixels of the word that lie inside the width.
constexpr int PixelsOfWord(int word, int width) {
  return std::min(kWordPixels, width - word * kWordPixels);
}

constexpr size_t kContexts = size_t{1} << 16;
using ContextStates = std::array<ContextState, kContexts>;

constexpr uint32_t kContextLeft = 0xF;

// The pixels of the two rows above, each from the first one of the current context
// on, which is in the most significant bit.
struct RowsAbove {
  uint64_t two;
  uint64_t one;

  void Advance(int pixels) {
    two <<= pixels;
    one <<= pixels;
  }
};

// Those for the first pixel of a word. They reach until after the word's last
// pixel.
inline RowsAbove RowsAboveWord(const PlaneRow& two, const PlaneRow& one, int word) {
  return {two.Window(word) << 14, one.Window(word) << 13};
}

// The part of the context index that the rows above make.
inline uint32_t ContextAbove(const RowsAbove& above) {
  return static_cast<uint32_t>((above.two >> 48 & 0xF800) | (above.one >> 53 & 0x07F0));
}

// How many pixels have a context all of whose pixels above are `colour` (0 or ~0),
// which the caller limits to those of the word.
inline int UniformAbove(const RowsAbove& above, uint64_t colour) {
  const int two = std::countl_zero(above.two ^ colour) - 4;
  const int one = std::countl_zero(above.one ^ colour) - 6;
  return std::max(std::min(two, one), 0);
}

// The same for the row being encoded: four pixels to the left, then the current one.
class RowHere {
 public:
  RowHere(const PlaneRow& row, int word) : m_pixels(row.Window(word) << 12) {}

  void Advance(int pixels) { m_pixels <<= pixels; }
  uint32_t Context() const { return static_cast<uint32_t>(m_pixels >> 60); }
  unsigned Pixel() const { return m_pixels >> 59 & 1U; }
  // How many pixels are `colour`, and so are the four to their left.
  int Uniform(uint64_t colour) const {
    return std::max(std::countl_zero(m_pixels ^ colour) - 4, 0);
  }

 private:
  uint64_t m_pixels;
};
