// The adaptive binary arithmetic coder of the Q-Coder family that ITU-T T.88
// Annex E (the same as T.800 Annex C) defines: what the coding and the decoding
// side share. The names are the standard's: Qe is the share of the less probable
// symbol (LPS), A the interval, C the code register.
#pragma once

#include <array>
#include <cstdint>

// 1.0 of the probability scale is 4/3 of this; A stays between it and twice it.
constexpr int32_t kHalfInterval = 0x8000;

// After an 0xFF byte of the code string a byte has 7 bits and a stuffed 0, so
// that a larger value than this is no data but the second byte of a marker.
constexpr uint32_t kMaxStuffedByte = 0x8F;
// The marker that ends a code string, 0xFF 0xAC.
constexpr unsigned char kMarkerPrefix = 0xFF;
constexpr unsigned char kEndMarker = 0xAC;

// What a context knows: the row of the probability table times 2, plus the more
// probable symbol (MPS). 0 is where every context starts.
using ContextState = uint8_t;

struct Transition {
  uint16_t qe;
  ContextState afterMps;  // taken when coding the MPS renormalises
  ContextState afterLps;
};

namespace probability_table {

struct Row {
  uint16_t qe;
  uint8_t nextMps;
  uint8_t nextLps;
  bool exchange;  // an LPS here makes the two symbols change places
};

// T.88 table E.1.
constexpr std::array<Row, 47> kRows = {{
    {0x5601, 1, 1, true},    {0x3401, 2, 6, false},   {0x1801, 3, 9, false},
    {0x0AC1, 4, 12, false},  {0x0521, 5, 29, false},  {0x0221, 38, 33, false},
    {0x5601, 7, 6, true},    {0x5401, 8, 14, false},  {0x4801, 9, 14, false},
    {0x3801, 10, 14, false}, {0x3001, 11, 17, false}, {0x2401, 12, 18, false},
    {0x1C01, 13, 20, false}, {0x1601, 29, 21, false}, {0x5601, 15, 14, true},
    {0x5401, 16, 14, false}, {0x5101, 17, 15, false}, {0x4801, 18, 16, false},
    {0x3801, 19, 17, false}, {0x3401, 20, 18, false}, {0x3001, 21, 19, false},
    {0x2801, 22, 19, false}, {0x2401, 23, 20, false}, {0x2201, 24, 21, false},
    {0x1C01, 25, 22, false}, {0x1801, 26, 23, false}, {0x1601, 27, 24, false},
    {0x1401, 28, 25, false}, {0x1201, 29, 26, false}, {0x1101, 30, 27, false},
    {0x0AC1, 31, 28, false}, {0x09C1, 32, 29, false}, {0x08A1, 33, 30, false},
    {0x0521, 34, 31, false}, {0x0441, 35, 32, false}, {0x02A1, 36, 33, false},
    {0x0221, 37, 34, false}, {0x0141, 38, 35, false}, {0x0111, 39, 36, false},
    {0x0085, 40, 37, false}, {0x0049, 41, 38, false}, {0x0025, 42, 39, false},
    {0x0015, 43, 40, false}, {0x0009, 44, 41, false}, {0x0005, 45, 42, false},
    {0x0001, 45, 43, false}, {0x5601, 46, 46, false},
}};

constexpr std::array<Transition, 2 * kRows.size()> MakeTransitions() {
  std::array<Transition, 2 * kRows.size()> transitions{};
  for (unsigned state = 0; state < transitions.size(); ++state) {
    const Row& row = kRows[state / 2];
    const unsigned mps = state % 2;
    transitions[state] = {row.qe, static_cast<ContextState>(row.nextMps * 2U + mps),
                          static_cast<ContextState>(row.nextLps * 2U + (mps ^ row.exchange))};
  }
  return transitions;
}

}  // namespace probability_table

inline constexpr auto kTransitions = probability_table::MakeTransitions();
