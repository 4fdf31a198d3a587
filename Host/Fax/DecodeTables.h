// Look-up tables of the decoder, made at compile time from the printed codes.
#pragma once

#include <array>
#include <cstdint>

#include "Host/Fax/CodeTables.h"

namespace fax {

// What the next bits begin with: a run code's word length and its run.
struct RunEntry {
  uint16_t nBits : 4;
  uint16_t nRun : 12;  // from kFirstMakeUp on another code of the run follows
};
constexpr int kFirstMakeUp = 64;
constexpr int kNoRun = 0xFFF;  // no code begins like this

constexpr int kWhiteBits = 12;
constexpr int kBlackBits = 13;
extern const std::array<RunEntry, 1 << kWhiteBits> kWhiteRuns;
extern const std::array<RunEntry, 1 << kBlackBits> kBlackRuns;

// What the next bits begin with when a white run is due: one or two pairs of a
// white and a black run, none of them empty and none with make-up codes.
struct PairsEntry {
  std::array<uint8_t, 4> aEnds;  // where each run ends, from the first one's start
  uint8_t nRuns;                 // 0: no such pair; 2: the last two ends repeat; 4
  uint8_t nBits;
};
constexpr int kPairsBits = 12;
extern const std::array<PairsEntry, 1 << kPairsBits> kRunPairs;

// What the next bits begin with in two-dimensional coding.
struct ModeEntry {
  Mode mode;
  uint8_t nBits;
  int8_t nOffset;  // Vertical: a1 - b1
};
constexpr int kModeBits = 7;
extern const std::array<ModeEntry, 1 << kModeBits> kModes;

}  // namespace fax
