// Look-up tables of the decoder of dense lines: a state machine that reads several codes of
// two-dimensional coding at once, and what it makes of them.
#pragma once

#include <array>
#include <cstdint>

namespace fax {

// A step of a line: a0 moves and the colour changes. A code of Vertical mode is one step, one
// of Horizontal mode two, one of Pass mode two that leave no changing element: to b1, and
// from there to b2, which is the b1 of the other colour.
//
// A step below kSteps is a run of as many pixels; the others move to b1.
constexpr uint8_t kVerticalStep = 72;  // + a1 - b1
constexpr uint8_t kPassStep = 80;
constexpr uint8_t kPassStep2 = 81;
constexpr int kShortRun = 64;  // runs from here on are no steps
constexpr int kSteps = 82;

// What a step does, in one word, sign bit first: whether it goes by b1, whether it leaves an
// element; the lowest byte is what to add to the distance of b1, or the run.
constexpr uint64_t kStepByB1 = uint64_t{1} << 63;
constexpr uint64_t kStepElement = uint64_t{1} << 62;
extern const std::array<uint64_t, 128> kStepWords;

// Where in the codes a decoder is: at the code of a mode or of one of Horizontal mode's runs,
// with the colour of a0, or of the run.
enum DenseState : uint8_t {
  kModeInWhite,
  kModeInBlack,
  kFirstRunWhite,
  kFirstRunBlack,
  kSecondRunWhite,
  kSecondRunBlack,
  kDenseStates
};
constexpr bool IsRunState(uint8_t state) { return state >= kFirstRunWhite; }
constexpr bool IsBlackState(uint8_t state) { return state % 2 != 0; }
// The state after a run: of the other colour, the second run or a mode.
constexpr uint8_t AfterRun(uint8_t state) {
  return state >= kSecondRunWhite ? static_cast<uint8_t>(state == kSecondRunWhite)
                                  : static_cast<uint8_t>((state ^ 1) + 2);
}

// The steps whose codes the bits begin with.
struct alignas(8) StepsEntry {
  std::array<uint8_t, 5> aSteps;
  uint8_t nSteps;
  uint8_t state;  // afterwards
  uint8_t nBits;  // 0: no code, or none that is a step
};
constexpr int kStepsBits = 10;
extern const std::array<std::array<StepsEntry, 1 << kStepsBits>, kDenseStates> kStepsByState;

}  // namespace fax
