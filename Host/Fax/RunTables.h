// Look-up tables of the decoder of one-dimensional lines into pixels.
#pragma once

#include <array>
#include <cstdint>

namespace fax {

// The runs that the bits begin with, alternating from a colour on, in one word: where they
// end within kRunsElementBits pixels, the last one's end by itself.
//   0-5    bits taken
//   6      set when there is only a make-up code, so that the run goes on
//   7      set when it doesn't
//   12     kRunsBlack: the colour after them; from there on stand the words from black on
//   16-31  the pixels of all; kNoRuns: no code fits
//   32-63  the ends of all runs but the last, the first pixel being the top bit
constexpr uint64_t kRunsBitCount = 63;
constexpr int kRunsOpenShift = 6;
constexpr int kRunsClosedShift = 7;
constexpr int kRunsPixelsShift = 16;
constexpr int kRunsElementBits = 32;
constexpr uint64_t kRunsElements = ~uint64_t{0} << kRunsElementBits;
constexpr uint64_t kNoRuns = 0xFFFF;

constexpr int kRunWordBits = 12;
constexpr uint64_t kRunsBlack = 1 << kRunWordBits;
// By the bits and the colour.
extern const std::array<uint64_t, 2 * kRunsBlack> kRunWords;

}  // namespace fax
