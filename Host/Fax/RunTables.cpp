#include "Host/Fax/RunTables.h"

#include "Host/Fax/CodeTables.h"

namespace fax {

namespace {

struct Code {
  int nBits;  // 0: none
  int nRun;
};
using Codes = std::array<Code, 1 << kRunWordBits>;

constexpr void Enter(Codes& codes, const RunCode& code) {
  const int nRest = kRunWordBits - static_cast<int>(code.word.size());
  if (nRest < 0) return;
  const size_t first = size_t{CodeValue(code.word)} << nRest;
  for (size_t i = 0; i < size_t{1} << nRest; ++i)
    codes[first + i] = {static_cast<int>(code.word.size()), code.nRun};
}

template <size_t N>
constexpr Codes MakeCodes(const std::array<RunCode, 64>& terminating,
                          const std::array<RunCode, N>& makeUp) {
  Codes codes{};
  for (const RunCode& code : terminating) Enter(codes, code);
  for (const RunCode& code : makeUp) Enter(codes, code);
  for (const RunCode& code : kExtendedMakeUpCodes) Enter(codes, code);
  return codes;
}

constexpr std::array<Codes, 2> kCodes = {MakeCodes(kWhiteTerminatingCodes, kWhiteMakeUpCodes),
                                         MakeCodes(kBlackTerminatingCodes, kBlackMakeUpCodes)};

constexpr uint64_t MakeWord(unsigned int colour, unsigned int index) {
  uint64_t elements = 0;
  unsigned int nBits = 0;
  unsigned int nPixels = 0;
  bool bOpen = false;
  bool bFirst = true;
  for (;;) {
    const Code code = kCodes[colour][(index << nBits) & ((1u << kRunWordBits) - 1)];
    const bool bMakeUp = code.nRun >= 64;
    const bool bFits = code.nBits != 0 && nBits + static_cast<unsigned>(code.nBits) <= kRunWordBits;
    // A run of several codes begins an entry, so that its first pixel is known.
    if (!bFits || (!bFirst && !bOpen && (bMakeUp || nPixels >= kRunsElementBits)) ||
        (bOpen && bMakeUp))
      break;
    if (!bFirst && !bOpen) elements ^= uint64_t{1} << 63 >> nPixels;
    nBits += static_cast<unsigned>(code.nBits);
    nPixels += static_cast<unsigned>(code.nRun);
    bOpen = bMakeUp;
    bFirst = false;
    if (!bOpen) colour ^= 1;
  }
  if (bFirst) nPixels = kNoRuns;
  return elements | uint64_t{nPixels} << kRunsPixelsShift | uint64_t{!bOpen} << kRunsClosedShift |
         colour * kRunsBlack | uint64_t{bOpen} << kRunsOpenShift | nBits;
}

constexpr auto MakeWords() {
  std::array<uint64_t, 2 * kRunsBlack> words{};
  for (unsigned int colour = 0; colour < 2; ++colour)
    for (unsigned int index = 0; index < kRunsBlack; ++index)
      words[colour * kRunsBlack + index] = MakeWord(colour, index);
  return words;
}

}  // namespace

constinit const std::array<uint64_t, 2 * kRunsBlack> kRunWords = MakeWords();

}  // namespace fax
