// Look-up tables of the decoder, made at compile time from the printed codes.
// Each is indexed by the next bits of the data.
#pragma once

#include <array>
#include <cstdint>

#include "Host/Fax/Tables/CodeTables.h"

namespace fax {

// The run code that the bits begin with.
struct RunEntry {
  uint16_t nBits : 4;
  uint16_t nRun : 12;  // kNoRun: no code begins like this
};
constexpr int kFirstMakeUp = 64;  // from here on another code of the run follows
constexpr int kNoRun = 0xFFF;

constexpr int kWhiteBits = 12;
constexpr int kBlackBits = 13;
extern const std::array<RunEntry, 1 << kWhiteBits> kWhiteRuns;
extern const std::array<RunEntry, 1 << kBlackBits> kBlackRuns;

// Two or four runs of alternating colour that the bits begin with, none of them
// empty or with a make-up code.
struct alignas(8) RunsEntry {
  std::array<uint8_t, 4> aEnds;  // where each run ends; of two, the last one repeats
  uint8_t nRuns;                 // 0: there is no such pair
  uint8_t nBits;
  uint8_t nBitsOfTwo;
};
constexpr int kRunsBits = 12;
extern const std::array<RunsEntry, 1 << kRunsBits> kRunsFromWhite;
extern const std::array<RunsEntry, 1 << kRunsBits> kRunsFromBlack;

// The code of two-dimensional coding that the bits begin with.
struct ModeEntry {
  Mode mode;
  uint8_t nBits;
  int16_t nOffset;  // Vertical: a1 - b1
};
constexpr int kModeBits = 7;
constexpr int kPassBits = 4;
constexpr int kHorizontalBits = 3;
constexpr uint32_t kHorizontalCode = 0b001;
extern const std::array<ModeEntry, 1 << kModeBits> kModes;

// The codes of Vertical mode that the bits begin with.
struct VerticalsEntry {
  std::array<int16_t, 7> aOffsets;
  uint8_t nCodes;
  uint8_t nBits;
};
constexpr int kVerticalsBits = 11;
extern const std::array<VerticalsEntry, 1 << kVerticalsBits> kVerticals;

}  // namespace fax
