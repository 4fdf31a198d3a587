#include "Host/Fax/Line.h"

#include <cstring>

#include "Host/Fax/BitReader.h"

namespace fax {

void DrawLine(const Line& line, int nWidth, uint64_t* pRow) {
  std::memset(pRow, 0, RowWords(nWidth) * sizeof(uint64_t));
  const uint16_t* const pElements = line.pElements;
  for (int i = 0; i < line.nElements; i += 2) {
    const unsigned int start = pElements[i];
    const unsigned int end = pElements[i + 1];
    const uint64_t fromStart = ~uint64_t{0} >> (start % 64);
    const uint64_t fromEnd = ~uint64_t{0} >> (end % 64);
    uint64_t* pWord = pRow + start / 64;
    uint64_t* const pEnd = pRow + end / 64;
    if (pWord == pEnd) [[likely]] {
      *pWord |= BigEndian64(fromStart ^ fromEnd);
    } else {
      *pWord++ |= BigEndian64(fromStart);
      while (pWord < pEnd) *pWord++ = ~uint64_t{0};
      *pEnd = BigEndian64(~fromEnd);
    }
  }
}

void FillRuns(uint64_t* pPixels, int nWidth) {
  uint64_t black = 0;
  for (size_t i = 0; i < RowWords(nWidth); ++i) {
    uint64_t word = BigEndian64(pPixels[i]);
    // Each element inverts the rest of its word, and the words after it.
    for (int nShift = 1; nShift < 64; nShift *= 2) word ^= word >> nShift;
    const uint64_t inverted = -(word & 1);
    pPixels[i] = BigEndian64(word ^ black);
    black ^= inverted;
  }
  // A last run of black ends at the width.
  const uint64_t inLine = ~(~uint64_t{0} >> (nWidth % 64));
  pPixels[nWidth / 64] &= BigEndian64(inLine);
}

void ListLine(Line& line, int nWidth) {
  uint16_t* pNext = line.pElements;
  uint64_t before = 0;
  for (size_t i = 0; i < RowWords(nWidth); ++i) {
    const uint64_t pixels = BigEndian64(line.pPixels[i]);
    uint64_t edges = pixels ^ (pixels >> 1 | before << 63);
    before = pixels;
    while (edges != 0) {
      const int nPixel = std::countl_zero(edges);
      *pNext++ = static_cast<uint16_t>(i * 64 + static_cast<size_t>(nPixel));
      edges ^= uint64_t{1} << 63 >> nPixel;
    }
  }
  const bool bDrawn = line.bDrawn;
  line.End(pNext, nWidth);
  line.bDrawn = bDrawn;
}

}  // namespace fax
