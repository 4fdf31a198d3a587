// A line of the picture as its changing elements (T.4 4.2.1.1): the positions of
// the pixels whose colour differs from that of the pixel before, in increasing
// order. A line begins with white, so those at even indices start black runs.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace fax {

// The widest line: 0x7FFF pixels, rounded up to whole bytes.
constexpr int kMaxWidth = 0x8000;

// Elements that coding takes at once, at most.
constexpr int kElementsAtOnce = 8;
// One element before the first may be read, and is 0. After the last stands the
// width, kSentinels times: the imaginary changing element after the line, which
// b1 and b2 may be, and as many as may be taken at once from there.
constexpr int kSentinels = kElementsAtOnce + 4;

// Elements of memory that a line of nWidth pixels takes.
constexpr size_t LineMemory(int nWidth) {
  return static_cast<size_t>(nWidth) + 1 + kSentinels + kElementsAtOnce;
}

// Words of memory that a drawn row of nWidth pixels takes.
constexpr size_t RowWords(int nWidth) { return static_cast<size_t>(nWidth) / 64 + 1; }
// Words that stand before and after the pixels of a line, zeros.
constexpr size_t kWordsAround = 1;
constexpr size_t PixelMemory(int nWidth) { return RowWords(nWidth) + 2 * kWordsAround; }

// A line is held in one of two forms, or in both: the one that it was decoded to and, when
// the next line or the caller wants it, the other.
struct Line {
  uint16_t* pElements;
  int nElements;      // unless bListed, about as many
  uint64_t* pPixels;  // RowWords(nWidth), as DrawLine makes them
  // How it was decoded two-dimensionally to a list: look-ups that gave several codes, changes
  // to single codes, and further codes of Horizontal mode after one.
  int nVectors = 0;
  int nTurns = 0;
  int nRepeats = 0;
  bool bListed = true;
  bool bDrawn = false;

  // A white line in `pMemory`, LineMemory(nWidth) elements, without memory for pixels.
  static Line White(uint16_t* pMemory, int nWidth) {
    pMemory[0] = 0;
    Line line{pMemory + 1, 0, nullptr};
    line.End(line.pElements, nWidth);
    return line;
  }
  // The same with PixelMemory(nWidth) words.
  static Line White(uint16_t* pMemory, uint64_t* pPixelMemory, int nWidth) {
    std::fill_n(pPixelMemory, PixelMemory(nWidth), 0);
    Line line = White(pMemory, nWidth);
    line.pPixels = pPixelMemory + kWordsAround;
    return line;
  }
  // Ends the list at pEnd, after its last element; elements at the width go. The pixels are
  // to be drawn.
  void End(uint16_t* pEnd, int nWidth) {
    while (pEnd > pElements && pEnd[-1] >= nWidth) --pEnd;
    nElements = static_cast<int>(pEnd - pElements);
    for (int i = 0; i < kSentinels; ++i) pEnd[i] = static_cast<uint16_t>(nWidth);
    bListed = true;
    bDrawn = false;
  }
};

// Draws a listed line as pixels, 1 being black: RowWords(nWidth) words, the first
// pixel in the first byte's top bit, zeros after the width. Zeros may go into the word after.
void DrawLine(const Line& line, int nWidth, uint64_t* pRow);
// Draws a line whose changing elements stand as 1 bits in pPixels, as RowWords(nWidth) words.
void FillRuns(uint64_t* pPixels, int nWidth);
// Lists the elements of a drawn line.
void ListLine(Line& line, int nWidth);

}  // namespace fax
