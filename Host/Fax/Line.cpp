#include "Host/Fax/Line.h"

#include <cstring>

#include "Host/Fax/BitReader.h"

namespace fax {

void DrawLine(const Line& line, int nWidth, uint64_t* pRow) {
  std::memset(pRow, 0, RowWords(nWidth) * sizeof(uint64_t));
  auto* const pBytes = reinterpret_cast<unsigned char*>(pRow);
  const auto store = [&](unsigned int nBase, uint64_t pixels) {
    pixels = BigEndian64(pixels);
    std::memcpy(pBytes + nBase / 8, &pixels, sizeof pixels);
  };
  // 64 pixels from a whole byte on, which move with the runs: nothing is read back, and there
  // are no branches but for long runs.
  unsigned int nBase = 0;
  uint64_t pixels = 0;
  for (int i = 0; i < line.nElements; i += 2) {
    const unsigned int start = line.pElements[i];
    const unsigned int end = line.pElements[i + 1];
    const unsigned int nMoved = (start & ~7u) - nBase;
    nBase += nMoved;
    pixels = nMoved < 64 ? pixels << nMoved : 0;
    pixels |= ~uint64_t{0} >> (start - nBase);
    if (end - nBase >= 64) [[unlikely]] {
      store(nBase, pixels);
      const unsigned int nTo = end & ~7u;
      std::memset(pBytes + nBase / 8 + 8, 0xFF, (nTo - nBase) / 8 - 8);
      nBase = nTo;
      pixels = ~uint64_t{0};
    }
    pixels &= ~(~uint64_t{0} >> (end - nBase));
    store(nBase, pixels);
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
