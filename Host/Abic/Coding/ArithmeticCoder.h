// The Q-Coder of 1988 for 12-bit registers in its hardware convention: what the coding and
// the decoding side share. Qe is the share of the less probable symbol (LPS), A the
// interval, C the code register. The LPS has the lower part of the interval, of size Qe,
// the more probable symbol (MPS) the rest, whichever is larger.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

// What A is kept from falling below; it stands for 0.75.
constexpr int32_t kLeastInterval = 0x1000;
constexpr int kIntervalBits = 13;
// Bits of the code string in C: those of the fraction.
constexpr int kFractionBits = 12;
// After this byte of the code string a byte has 7 bits; its highest bit takes a carry.
constexpr unsigned char kStuffedAfter = 0xFF;

// What a context knows: Qe over the number of its row in the probability table over the MPS.
// What decoding waits for is so in one register: Qe, and the MPS as what to shift a pair of
// 32-bit states by to have that of the decision in its lower half.
using ContextState = uint32_t;

constexpr int kMpsShift = 5;
constexpr int kRowShift = 6;
constexpr int kQeShift = 16;

constexpr int32_t Qe(ContextState state) { return static_cast<int32_t>(state >> kQeShift); }
constexpr unsigned Mps(ContextState state) { return state >> kMpsShift & 1U; }
// The row times 2, plus the MPS.
constexpr size_t TransitionIndex(ContextState state) { return state >> kMpsShift & 0x3F; }

struct Transition {
  ContextState after[2];  // an MPS that renormalises, and an LPS
  int shiftOfLps;         // what renormalises A when it is Qe
};

namespace probability_table {

struct Row {
  uint16_t qe;
  uint8_t nextLps;
};

constexpr std::array<Row, 30> kRows = {{
    {0xAC1, 0},  {0xA81, 0},  {0xA01, 1},  {0x901, 2},  {0x701, 3},  {0x681, 4},
    {0x601, 5},  {0x501, 5},  {0x481, 6},  {0x441, 7},  {0x381, 8},  {0x301, 9},
    {0x2C1, 10}, {0x281, 11}, {0x241, 12}, {0x181, 13}, {0x121, 14}, {0x0E1, 15},
    {0x0A1, 16}, {0x071, 17}, {0x059, 18}, {0x053, 19}, {0x027, 20}, {0x017, 21},
    {0x013, 21}, {0x00B, 23}, {0x007, 23}, {0x005, 25}, {0x003, 25}, {0x001, 27},
}};

constexpr size_t kStates = 2 * kRows.size();

constexpr ContextState MakeState(unsigned row, unsigned mps) {
  return uint32_t{kRows[row].qe} << kQeShift | row << kRowShift | mps << kMpsShift;
}

// `lastFlip` is the last row in which an LPS makes the two symbols change places.
constexpr std::array<Transition, kStates> MakeTransitions(unsigned lastFlip) {
  std::array<Transition, kStates> transitions{};
  for (unsigned i = 0; i < transitions.size(); ++i) {
    const unsigned row = i / 2, mps = i % 2;
    const unsigned flip = row <= lastFlip ? 1 : 0;
    const unsigned nextMps = row + 1 < kRows.size() ? row + 1 : row;
    transitions[i] = {{MakeState(nextMps, mps), MakeState(kRows[row].nextLps, mps ^ flip)},
                      kIntervalBits - static_cast<int>(std::bit_width(kRows[row].qe))};
  }
  return transitions;
}

}  // namespace probability_table

// Where every context starts.
constexpr ContextState kFirstState = probability_table::MakeState(0, 0);

using Transitions = std::array<Transition, probability_table::kStates>;

// Without and with flips in state 1.
inline constexpr Transitions kTransitions[2] = {probability_table::MakeTransitions(0),
                                                probability_table::MakeTransitions(1)};

// What renormalises A when an MPS has left it too small. It has lost less than 3/4 of the
// least interval.
constexpr int ShiftOfMps(int32_t a) { return a < kLeastInterval / 2 ? 2 : 1; }
