#include "Host/Fax/Tables/DecodeTables.h"

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

// The bits of `index`, nWidth many, after the first nSkipped.
constexpr unsigned int Rest(unsigned int index, int nWidth, int nSkipped) {
  return (index << nSkipped) & ((1u << nWidth) - 1);
}

constexpr auto MakeRunsFrom(bool bBlack) {
  std::array<RunsEntry, 1 << kRunsBits> table{};
  for (unsigned int index = 0; index < table.size(); ++index) {
    RunsEntry& entry = table[index];
    std::array<uint8_t, 4> aEnds{};
    int nBits = 0;
    int nEnd = 0;
    for (size_t nRun = 0; nRun < aEnds.size(); ++nRun) {
      const unsigned int rest = Rest(index, kRunsBits, nBits);
      const RunEntry run = (nRun % 2 == 0) == bBlack ? kBlack[rest << (kBlackBits - kRunsBits)]
                                                     : kWhite[rest << (kWhiteBits - kRunsBits)];
      nBits += run.nBits;
      if (run.nRun == 0 || run.nRun >= kFirstMakeUp || nBits > kRunsBits) break;
      nEnd += run.nRun;
      for (size_t i = nRun; i < aEnds.size(); ++i) aEnds[i] = static_cast<uint8_t>(nEnd);
      if (nRun % 2 == 0) continue;
      entry.aEnds = aEnds;
      entry.nRuns = static_cast<uint8_t>(nRun + 1);
      entry.nBits = static_cast<uint8_t>(nBits);
      if (nRun == 1) entry.nBitsOfTwo = entry.nBits;
    }
  }
  return table;
}

constexpr auto kModesByBits = [] {
  std::array<ModeEntry, 1 << kModeBits> table{};
  for (const ModeCode& code : kModeCodes)
    Enter(table, kModeBits, code.word,
          ModeEntry{code.mode, static_cast<uint8_t>(code.word.size()),
                    static_cast<int16_t>(code.nOffset)});
  return table;
}();

static_assert(kModesByBits[0b0001'000].nBits == kPassBits);
static_assert(kModesByBits[0b001'0000].nBits == kHorizontalBits);

constexpr auto MakeVerticals() {
  std::array<VerticalsEntry, 1 << kVerticalsBits> table{};
  for (unsigned int index = 0; index < table.size(); ++index) {
    VerticalsEntry& entry = table[index];
    while (entry.nCodes < entry.aOffsets.size()) {
      const unsigned int rest = Rest(index, kVerticalsBits, entry.nBits);
      const ModeEntry& code = kModesByBits[rest >> (kVerticalsBits - kModeBits)];
      if (code.mode != Mode::Vertical || entry.nBits + code.nBits > kVerticalsBits) break;
      entry.aOffsets[entry.nCodes++] = code.nOffset;
      entry.nBits = static_cast<uint8_t>(entry.nBits + code.nBits);
    }
  }
  return table;
}

}  // namespace

constinit const std::array<RunEntry, 1 << kWhiteBits> kWhiteRuns = kWhite;
constinit const std::array<RunEntry, 1 << kBlackBits> kBlackRuns = kBlack;
constinit const std::array<RunsEntry, 1 << kRunsBits> kRunsFromWhite = MakeRunsFrom(false);
constinit const std::array<RunsEntry, 1 << kRunsBits> kRunsFromBlack = MakeRunsFrom(true);
constinit const std::array<ModeEntry, 1 << kModeBits> kModes = kModesByBits;
constinit const std::array<VerticalsEntry, 1 << kVerticalsBits> kVerticals = MakeVerticals();

}  // namespace fax
