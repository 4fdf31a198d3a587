#include "Host/Fax/Line.h"

#include <cstring>

#include "Host/Fax/BitReader.h"

namespace fax {

void DrawLine(const Line& line, int nWidth, uint64_t* pRow) {
  const size_t nWords = RowWords(nWidth);
  std::memset(pRow, 0, nWords * sizeof(uint64_t));
  if (line.nElements == 0) return;
  // Each element inverts the rest of its word ...
  const uint16_t* const pElements = line.pElements;
  for (int i = 0; i < line.nElements; i += 2) {
    const unsigned int start = pElements[i];
    const unsigned int end = pElements[i + 1];
    const uint64_t fromStart = ~uint64_t{0} >> (start % 64);
    const uint64_t fromEnd = ~uint64_t{0} >> (end % 64);
    if (start / 64 == end / 64) [[likely]] {
      pRow[start / 64] ^= fromStart ^ fromEnd;
    } else {
      pRow[start / 64] ^= fromStart;
      pRow[end / 64] ^= fromEnd;
    }
  }
  // ... and, if the word then ends in black, the words after it.
  uint64_t black = 0;
  for (size_t i = 0; i < nWords; ++i) {
    const uint64_t word = pRow[i] ^ black;
    black = -(word & 1);
    pRow[i] = BigEndian64(word);
  }
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
