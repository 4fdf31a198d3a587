// Look-up tables of the decoder of one-dimensional lines into pixels.
#pragma once

#include <array>
#include <cstdint>

namespace fax {

// The runs that the bits begin with, alternating from a colour on, in one word:
//   0-5    bits taken
//   6      set when there is only a make-up code, so that the run goes on
//   7      set when it doesn't
//   8-11   runs that end
//   12     kRunsBlack: the colour after them; from there on stand the words from black on
//   16-31  the pixels of all; kNoRuns: no code fits
//   32-63  the ends of all runs but the last: in kRunWords as 1 bits, the first pixel being the
//          top bit; in kRunListWords, which have no empty runs, as bytes, the first being the
//          lowest
constexpr uint64_t kRunsBitCount = 63;
constexpr int kRunsOpenShift = 6;
constexpr int kRunsClosedShift = 7;
constexpr int kRunsCountShift = 8;
constexpr uint64_t kRunsCount = 15;
constexpr int kRunsPixelsShift = 16;
constexpr int kRunsElementBits = 32;
constexpr unsigned int kRunsListed = 5;
constexpr uint64_t kRunsElements = ~uint64_t{0} << kRunsElementBits;
constexpr uint64_t kNoRuns = 0xFFFF;

constexpr int kRunWordBits = 12;
constexpr uint64_t kRunsBlack = 1 << kRunWordBits;
// By the bits and the colour.
using RunWords = std::array<uint64_t, 2 * kRunsBlack>;
extern const RunWords kRunWords;
extern const RunWords kRunListWords;

}  // namespace fax
