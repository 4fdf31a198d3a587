// Codes by what they stand for, made at compile time from the printed ones.
#pragma once

#include <array>

#include "Host/Fax/BitWriter.h"
#include "Host/Fax/Tables/CodeTables.h"

namespace fax {

constexpr Code MakeCode(std::string_view word) {
  return {CodeValue(word), static_cast<int>(word.size())};
}

constexpr int kLongestMakeUp = 2560;

// The codes of one colour: terminating codes by run, make-up codes by run / 64.
struct RunCodes {
  std::array<Code, 64> aTerminating;
  std::array<Code, kLongestMakeUp / 64 + 1> aMakeUp;
};

template <size_t N, size_t M>
constexpr RunCodes MakeRunCodes(const std::array<RunCode, N>& terminating,
                                const std::array<RunCode, M>& makeUp) {
  RunCodes codes{};
  const auto index = [](int n) { return static_cast<size_t>(n); };
  for (const RunCode& code : terminating)
    codes.aTerminating[index(code.nRun)] = MakeCode(code.word);
  for (const RunCode& code : makeUp) codes.aMakeUp[index(code.nRun / 64)] = MakeCode(code.word);
  for (const RunCode& code : kExtendedMakeUpCodes)
    codes.aMakeUp[index(code.nRun / 64)] = MakeCode(code.word);
  return codes;
}

inline constexpr std::array<RunCodes, 2> kRunCodes = {
    MakeRunCodes(kWhiteTerminatingCodes, kWhiteMakeUpCodes),
    MakeRunCodes(kBlackTerminatingCodes, kBlackMakeUpCodes)};

constexpr Code FindModeCode(Mode mode, int nOffset) {
  for (const ModeCode& code : kModeCodes)
    if (code.mode == mode && code.nOffset == nOffset) return MakeCode(code.word);
  return {};
}

inline constexpr Code kPassCode = FindModeCode(Mode::Pass, 0);
inline constexpr Code kHorizontalCode = FindModeCode(Mode::Horizontal, 0);

// Vertical mode by a1 - b1 + kMaxOffset.
constexpr int kMaxOffset = 3;
inline constexpr std::array<Code, 2 * kMaxOffset + 1> kVerticalCodes = [] {
  std::array<Code, 2 * kMaxOffset + 1> codes{};
  for (int n = -kMaxOffset; n <= kMaxOffset; ++n)
    codes.data()[n + kMaxOffset] = FindModeCode(Mode::Vertical, n);
  return codes;
}();

}  // namespace fax
