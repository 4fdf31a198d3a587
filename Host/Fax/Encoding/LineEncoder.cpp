#include "Host/Fax/Encoding/LineEncoder.h"

#include <algorithm>

#include "Host/Fax/Tables/EncodeTables.h"

namespace fax {

namespace {

// The first byte's top bit as bit 0, and so on.
uint64_t FirstPixelLowest(const unsigned char* pBytes, size_t nBytes) {
  uint64_t word = 0;
  std::memcpy(&word, pBytes, nBytes);
  if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
  return ReverseBitsOfBytes(word);
}

inline void PutRun(BitWriter& out, bool bBlack, int nRun) {
  const RunCodes& codes = kRunCodes[bBlack ? 1 : 0];
  if (nRun >= 64) {
    for (; nRun >= kLongestMakeUp + 64; nRun -= kLongestMakeUp) {
      out.Put(codes.aMakeUp.back());
      out.Flush();
    }
    out.Put(codes.aMakeUp[static_cast<size_t>(nRun) / 64]);
    nRun %= 64;
  }
  out.Put(codes.aTerminating[static_cast<size_t>(nRun)]);
}

// How many of the next four elements are the same.
inline int CountEqual(const uint16_t* pLeft, const uint16_t* pRight) {
  uint64_t left, right;
  std::memcpy(&left, pLeft, sizeof left);
  std::memcpy(&right, pRight, sizeof right);
  const uint64_t differ = left ^ right;
  return (std::endian::native == std::endian::little ? std::countr_zero(differ)
                                                     : std::countl_zero(differ)) /
         16;
}

}  // namespace

void FindElements(const unsigned char* pRow, int nWidth, uint64_t uInvert, Line& line) {
  uint16_t* pNext = line.pElements;
  uint64_t before = 0;  // the pixel left of the word
  for (int nPosition = 0; nPosition < nWidth; nPosition += 64) {
    const int nPixels = std::min(nWidth - nPosition, 64);
    uint64_t pixels = FirstPixelLowest(pRow + nPosition / 8, static_cast<size_t>(nPixels + 7) / 8);
    pixels = (pixels ^ uInvert) & (~uint64_t{0} >> (64 - nPixels));
    uint64_t changes = pixels ^ (pixels << 1 | before);
    before = pixels >> 63;
    for (; changes != 0; changes &= changes - 1)
      *pNext++ = static_cast<uint16_t>(nPosition + std::countr_zero(changes));
  }
  line.End(pNext, nWidth);
}

void EncodeOneDimensional(BitWriter& writer, int nWidth, const Line& line) {
  BitWriter out = writer;
  const uint16_t* a1 = line.pElements;
  int a0 = 0;
  for (;;) {
    PutRun(out, false, a1[0] - a0);
    if (a1[0] == nWidth) break;
    PutRun(out, true, a1[1] - a1[0]);
    if (a1[1] == nWidth) break;
    out.Flush();
    a0 = a1[1];
    a1 += 2;
  }
  out.Flush();
  writer = out;
}

void EncodeTwoDimensional(BitWriter& writer, int nWidth, const Line& reference, const Line& line) {
  BitWriter out = writer;
  const uint16_t* a1 = line.pElements;  // a2 stands after it
  const uint16_t* const aEnd = a1 + line.nElements;
  const uint16_t* b1 = reference.pElements;  // the first element right of a0 and of a1's colour
  int a0 = -1;
  for (;;) {
    const int nV0 = std::min(CountEqual(a1, b1), static_cast<int>(aEnd - a1) + 1);
    if (nV0 > 0) {
      out.Put({(1u << nV0) - 1, nV0});
      a1 += nV0;
      b1 += nV0;
      a0 = a1[-1];
      if (a0 == nWidth) break;
    }
    const int nOffset = *a1 - *b1;
    if (b1[1] < *a1) {
      out.Put(kPassCode);
      a0 = b1[1];
      b1 += 2;
    } else if (nOffset >= -kMaxOffset && nOffset <= kMaxOffset) {
      out.Put(kVerticalCodes.data()[nOffset + kMaxOffset]);
      a0 = *a1++;
      if (a0 == nWidth) break;
      // The next b1 has the other colour. It is the element after the old one or,
      // left of that, the one before; further on by two while not right of a0.
      b1 += nOffset < 0 ? -1 : 1;
      while (*b1 <= a0) b1 += 2;
    } else {
      const bool bBlack = (a1 - line.pElements) % 2 != 0;
      out.Put(kHorizontalCode);
      PutRun(out, bBlack, a1[0] - std::max(a0, 0));
      out.Flush();
      PutRun(out, !bBlack, a1[1] - a1[0]);
      a0 = a1[1];
      if (a0 == nWidth) break;
      a1 += 2;
      while (*b1 <= a0) b1 += 2;
    }
    out.Flush();
  }
  out.Flush();
  writer = out;
}

}  // namespace fax
