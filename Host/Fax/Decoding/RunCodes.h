// Single runs out of the coded data, and what is no code.
#pragma once

#include "Host/Fax/BitReader.h"
#include "Host/Fax/Decoding/LineDecoder.h"
#include "Host/Fax/Line.h"
#include "Host/Fax/Tables/DecodeTables.h"

namespace fax {

constexpr int kNoRunLength = -1;

// Takes a run's codes, or those after make-up codes of nRun pixels. Returns the run,
// kNoRunLength for a bad code or a run that is longer than any line.
template <int nTableBits>
inline int TakeRun(BitReader& in, const std::array<RunEntry, 1 << nTableBits>& table, int nRun) {
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

inline int TakeRun(BitReader& in, bool bBlack, int nRun = 0) {
  return bBlack ? TakeRun<kBlackBits>(in, kBlackRuns, nRun)
                : TakeRun<kWhiteBits>(in, kWhiteRuns, nRun);
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

}  // namespace fax
