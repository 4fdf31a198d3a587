#include "Host/Fax/LineDecoder.h"

#include <algorithm>

#include "Host/Fax/DecodeTables.h"

namespace fax {

namespace {

constexpr int kNoRunLength = -1;

// Takes a run's codes. Returns the run, kNoRunLength for a bad code or a run
// that is longer than any line.
template <int nTableBits>
inline int TakeRun(BitReader& in, const std::array<RunEntry, 1 << nTableBits>& table) {
  int nRun = 0;
  for (;;) {
    const RunEntry entry = table[in.Peek(nTableBits)];
    in.Skip(entry.nBits);
    nRun += entry.nRun;
    if (entry.nRun < kFirstMakeUp) [[likely]]
      return nRun;
    if (entry.nRun == kNoRun || nRun > kMaxWidth) return kNoRunLength;
    in.Refill();
  }
}

inline int TakeRun(BitReader& in, bool bBlack) {
  return bBlack ? TakeRun<kBlackBits>(in, kBlackRuns) : TakeRun<kWhiteBits>(in, kWhiteRuns);
}

// Adds a changing element, or, where one stands already, takes that away: the
// run between them is empty.
inline uint16_t* AddElement(uint16_t* pNext, const uint16_t* pFirst, int nPosition) {
  if (pNext > pFirst && pNext[-1] == nPosition) [[unlikely]]
    return pNext - 1;
  *pNext = static_cast<uint16_t>(nPosition);
  return pNext + 1;
}

// What it means that no code begins at the reader.
inline LineResult NoCode(const BitReader& in, std::string_view uncompressed) {
  return in.Peek(static_cast<int>(uncompressed.size())) == CodeValue(uncompressed)
             ? LineResult::Uncompressed
             : LineResult::BadCode;
}

}  // namespace

LineResult DecodeOneDimensional(BitReader& reader, int nWidth, Line& line) {
  BitReader in = reader;
  uint16_t* const pFirst = line.pElements;
  uint16_t* pNext = pFirst;
  int a0 = 0;
  bool bBlack = false;
  while (a0 < nWidth) {
    in.Refill();
    if (!bBlack) {
      const PairsEntry& pairs = kRunPairs[in.Peek(kPairsBits)];
      if (pairs.nRuns != 0 && a0 + pairs.aEnds[3] < nWidth) {
        for (size_t i = 0; i < 4; ++i) pNext[i] = static_cast<uint16_t>(a0 + pairs.aEnds[i]);
        pNext += pairs.nRuns;
        a0 += pairs.aEnds[3];
        in.Skip(pairs.nBits);
        continue;
      }
    }
    const int nRun = TakeRun(in, bBlack);
    if (nRun < 0 || nRun > nWidth - a0) {
      reader = in;
      return nRun < 0 ? NoCode(in, kUncompressedIn1D) : LineResult::BadCode;
    }
    a0 += nRun;
    pNext = AddElement(pNext, pFirst, a0);
    bBlack = !bBlack;
  }
  line.End(pNext, nWidth);
  reader = in;
  return LineResult::Complete;
}

LineResult DecodeTwoDimensional(BitReader& reader, int nWidth, const Line& reference, Line& line) {
  BitReader in = reader;
  uint16_t* const pFirst = line.pElements;
  uint16_t* pNext = pFirst;                  // where a1 goes
  const uint16_t* b1 = reference.pElements;  // the first element right of a0 and of its colour
  const uint16_t* const bEnd = b1 + reference.nElements;
  int a0 = -1;
  LineResult result = LineResult::Complete;
  while (result == LineResult::Complete) {
    in.Refill();
    // Runs of V(0), a 1 bit each, copy the reference line.
    const int nV0 = std::min(std::countl_one(in.buffer), kCopiedElements);
    std::memcpy(pNext, b1, kCopiedElements * sizeof *pNext);
    if (nV0 != 0) a0 = b1[nV0 - 1];
    if (a0 >= nWidth) {
      const int nUsed = static_cast<int>(std::max<ptrdiff_t>(bEnd - b1, 0)) + 1;
      in.Skip(nUsed);
      pNext += nUsed;
      break;
    }
    in.Skip(nV0);
    pNext += nV0;
    b1 += nV0;

    const ModeEntry code = kModes[in.Peek(kModeBits)];
    if (code.mode == Mode::Vertical) {
      const int a1 = *b1 + code.nOffset;
      if (a1 <= a0 || a1 > nWidth) [[unlikely]] {
        result = LineResult::BadCode;
        break;
      }
      in.Skip(code.nBits);
      a0 = a1;
      *pNext++ = static_cast<uint16_t>(a1);
      if (a1 == nWidth) break;
      // The next b1 has the other colour. It is the next element or, left of the
      // old b1, the one before; two further on if that is not right of a1.
      b1 += code.nOffset < 0 ? -1 : 1;
      b1 += *b1 <= a0 ? 2 : 0;
      if (code.nOffset == 3) b1 += *b1 <= a0 ? 2 : 0;
    } else if (code.mode == Mode::Horizontal) {
      in.Skip(code.nBits);
      in.Refill();
      const bool bBlack = (pNext - pFirst) % 2 != 0;
      const int nStart = std::max(a0, 0);
      const int nRun1 = TakeRun(in, bBlack);
      in.Refill();
      const int nRun2 = nRun1 < 0 ? kNoRunLength : TakeRun(in, !bBlack);
      if (nRun2 < 0 || nRun1 + nRun2 > nWidth - nStart) [[unlikely]] {
        result = LineResult::BadCode;
        break;
      }
      pNext = AddElement(pNext, pFirst, nStart + nRun1);
      a0 = nStart + nRun1 + nRun2;
      pNext = AddElement(pNext, pFirst, a0);
      if (a0 == nWidth) break;
      while (*b1 <= a0) b1 += 2;
    } else if (code.mode == Mode::Pass) {
      in.Skip(code.nBits);
      a0 = b1[1];
      if (a0 >= nWidth) break;
      b1 += 2;
    } else {
      result = NoCode(in, kUncompressedIn2D);
    }
  }
  line.End(pNext, nWidth);
  reader = in;
  return result;
}

}  // namespace fax
