#include "Host/Fax/Tables/RunTables.h"

#include "Host/Fax/Tables/CodeTables.h"

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

// Of runs that end: those whose ends but the last stand in a word.
struct Ends {
  bool bListed;  // as bytes, not as bits
  uint64_t bits = 0;
  unsigned int nRuns = 0;

  // Whether another run can follow one that ends there.
  constexpr bool HasRoom(unsigned int nPixel) const {
    return bListed ? nRuns < kRunsListed && nPixel < 256 : nPixel < kRunsElementBits;
  }
  constexpr void Add(unsigned int nPixel) {
    if (bListed)
      bits |= uint64_t{nPixel} << (kRunsElementBits + 8 * (nRuns - 1));
    else
      bits ^= uint64_t{1} << 63 >> nPixel;
  }
};

constexpr uint64_t MakeWord(bool bListed, unsigned int colour, unsigned int index) {
  Ends ends{bListed};
  unsigned int nBits = 0;
  unsigned int nPixels = 0;
  bool bOpen = false;
  for (;;) {
    const Code code = kCodes[colour][(index << nBits) & (kRunsBlack - 1)];
    const bool bMakeUp = code.nRun >= 64;
    const unsigned int nCodeBits = static_cast<unsigned>(code.nBits);
    if (nCodeBits == 0 || nBits + nCodeBits > kRunWordBits) break;
    if (bListed && code.nRun == 0 && !bOpen) break;
    // A run of several codes begins a word, so that its first pixel is known.
    if (bMakeUp && (bOpen || ends.nRuns > 0)) break;
    if (ends.nRuns > 0) {
      if (!ends.HasRoom(nPixels)) break;
      ends.Add(nPixels);
    }
    nBits += nCodeBits;
    nPixels += static_cast<unsigned>(code.nRun);
    bOpen = bMakeUp;
    if (bOpen) continue;
    ++ends.nRuns;
    colour ^= 1;
  }
  if (nBits == 0) nPixels = kNoRuns;
  return ends.bits | uint64_t{nPixels} << kRunsPixelsShift | colour * kRunsBlack |
         uint64_t{ends.nRuns} << kRunsCountShift | uint64_t{!bOpen} << kRunsClosedShift |
         uint64_t{bOpen} << kRunsOpenShift | nBits;
}

constexpr RunWords MakeWords(bool bListed) {
  RunWords words{};
  for (unsigned int colour = 0; colour < 2; ++colour)
    for (unsigned int index = 0; index < kRunsBlack; ++index)
      words[colour * kRunsBlack + index] = MakeWord(bListed, colour, index);
  return words;
}

}  // namespace

constinit const RunWords kRunWords = MakeWords(false);
constinit const RunWords kRunListWords = MakeWords(true);

}  // namespace fax
