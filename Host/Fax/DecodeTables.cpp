#include "Host/Fax/DecodeTables.h"

namespace fax {

namespace {

// Puts `entry` wherever an index of nBits bits begins with `word`.
template <typename Entry, size_t N>
constexpr void Enter(std::array<Entry, N>& table, int nBits, std::string_view word, Entry entry) {
  const int nRest = nBits - static_cast<int>(word.size());
  const size_t first = size_t{CodeValue(word)} << nRest;
  for (size_t i = 0; i < size_t{1} << nRest; ++i) table[first + i] = entry;
}

template <size_t N, size_t M, size_t K>
constexpr auto MakeRuns(const std::array<RunCode, M>& terminating,
                        const std::array<RunCode, K>& makeUp, int nBits) {
  std::array<RunEntry, N> table{};
  for (RunEntry& entry : table) entry = {0, kNoRun};
  const auto enter = [&](const RunCode& code) {
    Enter(table, nBits, code.word,
          RunEntry{static_cast<uint16_t>(code.word.size() & 15),
                   static_cast<uint16_t>(code.nRun & 0xFFF)});
  };
  for (const RunCode& code : terminating) enter(code);
  for (const RunCode& code : makeUp) enter(code);
  for (const RunCode& code : kExtendedMakeUpCodes) enter(code);
  return table;
}

constexpr auto kWhite =
    MakeRuns<1 << kWhiteBits>(kWhiteTerminatingCodes, kWhiteMakeUpCodes, kWhiteBits);
constexpr auto kBlack =
    MakeRuns<1 << kBlackBits>(kBlackTerminatingCodes, kBlackMakeUpCodes, kBlackBits);

constexpr auto MakePairs() {
  std::array<PairsEntry, 1 << kPairsBits> table{};
  for (unsigned int index = 0; index < table.size(); ++index) {
    PairsEntry& pairs = table[index];
    int nBits = 0;
    int nEnd = 0;
    std::array<uint8_t, 4> aEnds{};
    for (size_t nRun = 0; nRun < aEnds.size(); ++nRun) {
      const unsigned int rest = (index << nBits) & ((1u << kPairsBits) - 1);
      const RunEntry run = nRun % 2 == 0 ? kWhite[rest << (kWhiteBits - kPairsBits)]
                                         : kBlack[rest << (kBlackBits - kPairsBits)];
      nBits += run.nBits;
      if (run.nRun == 0 || run.nRun >= kFirstMakeUp || nBits > kPairsBits) break;
      nEnd += run.nRun;
      for (size_t i = nRun; i < aEnds.size(); ++i) aEnds[i] = static_cast<uint8_t>(nEnd);
      if (nRun % 2 == 1)
        pairs = {aEnds, static_cast<uint8_t>(nRun + 1), static_cast<uint8_t>(nBits)};
    }
  }
  return table;
}

constexpr auto MakeModes() {
  std::array<ModeEntry, 1 << kModeBits> table{};
  for (const ModeCode& code : kModeCodes)
    Enter(table, kModeBits, code.word,
          ModeEntry{code.mode, static_cast<uint8_t>(code.word.size()),
                    static_cast<int8_t>(code.nOffset)});
  return table;
}

}  // namespace

constinit const std::array<RunEntry, 1 << kWhiteBits> kWhiteRuns = kWhite;
constinit const std::array<RunEntry, 1 << kBlackBits> kBlackRuns = kBlack;
constinit const std::array<PairsEntry, 1 << kPairsBits> kRunPairs = MakePairs();
constinit const std::array<ModeEntry, 1 << kModeBits> kModes = MakeModes();

}  // namespace fax
