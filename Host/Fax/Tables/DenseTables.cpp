#include "Host/Fax/Tables/DenseTables.h"

#include "Host/Fax/Tables/CodeTables.h"

namespace fax {

namespace {

struct Code {
  int nBits;  // 0: none
  int nValue;
};

// Codes by the bits that an index begins with.
using Codes = std::array<Code, 1 << kStepsBits>;

constexpr void Enter(Codes& codes, std::string_view word, int nValue) {
  const int nRest = kStepsBits - static_cast<int>(word.size());
  if (nRest < 0) return;
  const size_t first = size_t{CodeValue(word)} << nRest;
  for (size_t i = 0; i < size_t{1} << nRest; ++i)
    codes[first + i] = {static_cast<int>(word.size()), nValue};
}

constexpr Codes MakeRuns(const std::array<RunCode, 64>& terminating) {
  Codes codes{};
  for (const RunCode& code : terminating) Enter(codes, code.word, code.nRun);
  return codes;
}

constexpr int kHorizontalValue = 0;  // no step's number but that of an empty run

constexpr Codes MakeModes() {
  Codes codes{};
  for (const ModeCode& code : kModeCodes)
    Enter(codes, code.word,
          code.mode == Mode::Vertical ? kVerticalStep + code.nOffset
          : code.mode == Mode::Pass   ? kPassStep
                                      : kHorizontalValue);
  return codes;
}

constexpr Codes kWhiteRunCodes = MakeRuns(kWhiteTerminatingCodes);
constexpr Codes kBlackRunCodes = MakeRuns(kBlackTerminatingCodes);
constexpr Codes kModeSteps = MakeModes();

constexpr StepsEntry MakeEntry(uint8_t state, unsigned int index) {
  StepsEntry entry{{}, 0, state, 0};
  for (;;) {
    const unsigned int rest = (index << entry.nBits) & ((1u << kStepsBits) - 1);
    const Codes& codes = !IsRunState(entry.state)    ? kModeSteps
                         : IsBlackState(entry.state) ? kBlackRunCodes
                                                     : kWhiteRunCodes;
    const Code code = codes[rest];
    const bool bPass = !IsRunState(entry.state) && code.nValue == kPassStep;
    if (code.nBits == 0 || entry.nBits + code.nBits > kStepsBits ||
        entry.nSteps + (bPass ? 2u : 1u) > entry.aSteps.size())
      return entry;
    entry.nBits = static_cast<uint8_t>(entry.nBits + code.nBits);
    if (!IsRunState(entry.state) && code.nValue == kHorizontalValue) {
      entry.state = static_cast<uint8_t>(entry.state + kFirstRunWhite);
      continue;
    }
    entry.aSteps[entry.nSteps++] = static_cast<uint8_t>(code.nValue);
    if (bPass)
      entry.aSteps[entry.nSteps++] = kPassStep2;
    else
      entry.state = IsRunState(entry.state) ? AfterRun(entry.state) : entry.state ^ 1;
  }
}

constexpr auto MakeSteps() {
  std::array<std::array<StepsEntry, 1 << kStepsBits>, kDenseStates> table{};
  for (uint8_t state = 0; state < kDenseStates; ++state)
    for (unsigned int index = 0; index < table[state].size(); ++index)
      table[state][index] = MakeEntry(state, index);
  return table;
}

constexpr auto MakeStepWords() {
  std::array<uint64_t, 128> words{};
  for (unsigned int nRun = 0; nRun < kShortRun; ++nRun) words[nRun] = kStepElement | nRun;
  // To move to b1 is one more than the pixels between.
  for (int nOffset = -3; nOffset <= 3; ++nOffset)
    words.at(static_cast<unsigned int>(kVerticalStep + nOffset)) =
        kStepByB1 | kStepElement | static_cast<uint8_t>(nOffset + 1);
  words[kPassStep] = words[kPassStep2] = kStepByB1 | 1;
  return words;
}

}  // namespace

constinit const std::array<uint64_t, 128> kStepWords = MakeStepWords();
constinit const std::array<std::array<StepsEntry, 1 << kStepsBits>, kDenseStates> kStepsByState =
    MakeSteps();

}  // namespace fax
