// The encoding side of the arithmetic coder.
#pragma once

#include <cstddef>
#include <cstdint>

#include "Host/Abic/Coding/ArithmeticCoder.h"

// Coding an MPS takes Qe off A and adds it to C; nothing else happens until A gets too
// small. `slack` is how much can still be taken off, and `base` is C + slack, which an MPS
// doesn't change.
//
// C has the fraction in its lowest 12 bits, 4 bits to spare above it, then the byte that is
// being completed, and a carry in bit 24.
struct ArithmeticEncoder {
  int32_t slack;
  uint32_t base;
  int bitsLeft;  // shifts until the byte is complete
  const Transition* transitions;
  unsigned char* last;  // the last byte written; a carry may still add 1 to it
};

// One decision shifts C by up to 12 bits, and at worst every second byte is an
// 0xFF with only 7 bits after it.
constexpr size_t kMaxBytesPerDecision = 2;
// Room that FinishEncoder needs for what is left of C.
constexpr size_t kMaxFinishBytes = 4;

namespace arithmetic_encoder {

constexpr int kByteShift = 16;
constexpr int kCarryShift = kByteShift + 8;

inline void ByteOut(ArithmeticEncoder& encoder, uint32_t& c) {
  if (*encoder.last != kStuffedAfter && c >> kCarryShift != 0) {
    ++*encoder.last;
    c &= (1U << kCarryShift) - 1;
  }
  const bool stuff = *encoder.last == kStuffedAfter;
  const int shift = stuff ? kByteShift + 1 : kByteShift;
  *++encoder.last = static_cast<unsigned char>(c >> shift);
  c &= (1U << shift) - 1;
  encoder.bitsLeft = stuff ? 7 : 8;
}

// A decision that is an LPS, for which `lps` is ~0, or leaves A too small: slack is without
// its Qe. Which of the two it is can't be foreseen, so there is no branch.
inline void EncodeBeyondSlack(ArithmeticEncoder& encoder, ContextState& state, int32_t lps) {
  const Transition& transition = encoder.transitions[TransitionIndex(state)];
  const int32_t qe = Qe(state);
  const int32_t rest = kLeastInterval + encoder.slack;
  const int32_t a = rest + ((qe - rest) & lps);
  uint32_t c = encoder.base - static_cast<uint32_t>(encoder.slack + (qe & lps));
  state = transition.after[lps & 1];
  const int shiftOfMps = ShiftOfMps(rest);
  int shift = shiftOfMps + ((transition.shiftOfLps - shiftOfMps) & lps);

  encoder.slack = (a << shift) - kLeastInterval;
  while (shift >= encoder.bitsLeft) {
    c <<= encoder.bitsLeft;
    shift -= encoder.bitsLeft;
    ByteOut(encoder, c);
  }
  encoder.bitsLeft -= shift;
  encoder.base = (c << shift) + static_cast<uint32_t>(encoder.slack);
}

}  // namespace arithmetic_encoder

// An encoder whose code string starts after *before, a byte that it sets to 0.
// The caller sees to the room: see kMaxBytesPerDecision and kMaxFinishBytes.
inline ArithmeticEncoder StartEncoder(unsigned char* before, const Transitions& transitions) {
  *before = 0;
  return {0, 0, kFractionBits, transitions.data(), before};
}

// Codes a decision, 0 or 1, in a context.
inline void Encode(ArithmeticEncoder& encoder, ContextState& state, unsigned symbol) {
  encoder.slack -= Qe(state);
  const int32_t lps = -static_cast<int32_t>(symbol ^ Mps(state));
  if ((encoder.slack | lps) < 0) arithmetic_encoder::EncodeBeyondSlack(encoder, state, lps);
}

// Codes, of `count` decisions in one context that are its MPS, those that only
// change the slack, at once. Returns how many.
inline int EncodeMpsRun(ArithmeticEncoder& encoder, ContextState state, int count) {
  const int32_t qe = Qe(state);
  if (qe * count > encoder.slack) count = encoder.slack / qe;
  encoder.slack -= qe * count;
  return count;
}

// Writes what is left of C. Returns the byte after the code string.
inline unsigned char* FinishEncoder(ArithmeticEncoder& encoder) {
  uint32_t c = encoder.base - static_cast<uint32_t>(encoder.slack);
  for (int bits = arithmetic_encoder::kCarryShift - encoder.bitsLeft; bits > 0;
       bits -= encoder.bitsLeft) {
    c <<= encoder.bitsLeft;
    arithmetic_encoder::ByteOut(encoder, c);
  }
  return encoder.last + 1;
}
