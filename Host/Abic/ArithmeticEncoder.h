// The encoding side of the arithmetic coder (T.88 Annex E.2).
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "Host/Abic/ArithmeticCoder.h"

// Coding an MPS takes Qe off A and adds it to C; nothing else happens until A gets
// below its half. `slack` is A above that, and `base` is C + slack, which an MPS
// doesn't change.
struct ArithmeticEncoder {
  int32_t slack;
  uint32_t base;
  int bitsLeft;         // shifts until a byte of C is complete
  unsigned char* last;  // the last byte written; a carry may still add 1 to it
};

// One decision shifts C by up to 15 bits, and at worst every second byte is an
// 0xFF with only 7 bits after it.
constexpr size_t kMaxBytesPerDecision = 2;
// Room that FinishEncoder needs: what is left of C, up to three bytes, and the marker.
constexpr size_t kMaxFinishBytes = 5;

namespace arithmetic_encoder {

inline void ByteOut(ArithmeticEncoder& encoder, uint32_t& c) {
  bool stuff = *encoder.last == kMarkerPrefix;
  if (!stuff && c >= 0x8000000) {
    stuff = ++*encoder.last == kMarkerPrefix;
    c &= 0x7FFFFFF;
  }
  const int shift = stuff ? 20 : 19;
  *++encoder.last = static_cast<unsigned char>(c >> shift);
  c &= (1U << shift) - 1;
  encoder.bitsLeft = stuff ? 7 : 8;
}

// A decision that is an LPS or leaves A too small: slack is without its Qe.
inline void EncodeBeyondSlack(ArithmeticEncoder& encoder, ContextState& state, bool lps) {
  const Transition& transition = kTransitions[state];
  const int32_t qe = transition.qe;
  int32_t a = kHalfInterval + encoder.slack;
  uint32_t c = encoder.base - static_cast<uint32_t>(encoder.slack);
  // The larger part of the interval is always the MPS's; the part of size Qe is
  // the lower one.
  if (lps == (a >= qe)) {
    a = qe;
    c -= static_cast<uint32_t>(qe);
  }
  state = lps ? transition.afterLps : transition.afterMps;

  int shift = std::countl_zero(static_cast<uint32_t>(a)) - 16;
  a <<= shift;
  while (shift > 0) {
    const int step = std::min(shift, encoder.bitsLeft);
    c <<= step;
    encoder.bitsLeft -= step;
    shift -= step;
    if (encoder.bitsLeft == 0) ByteOut(encoder, c);
  }
  encoder.slack = a - kHalfInterval;
  encoder.base = c + static_cast<uint32_t>(encoder.slack);
}

}  // namespace arithmetic_encoder

// An encoder whose code string starts after *before, a byte that it sets to 0.
// The caller sees to the room: see kMaxBytesPerDecision and kMaxFinishBytes.
inline ArithmeticEncoder StartEncoder(unsigned char* before) {
  *before = 0;
  return {0, 0, 12, before};
}

// Codes a decision, 0 or 1, in a context.
inline void Encode(ArithmeticEncoder& encoder, ContextState& state, unsigned symbol) {
  encoder.slack -= kTransitions[state].qe;
  const bool lps = symbol != (state & 1U);
  if (lps || encoder.slack < 0) arithmetic_encoder::EncodeBeyondSlack(encoder, state, lps);
}

// Codes, of `count` decisions in one context that are its MPS, those that only
// change the slack, at once. Returns how many.
inline int EncodeMpsRun(ArithmeticEncoder& encoder, ContextState state, int count) {
  const int32_t qe = kTransitions[state].qe;
  if (qe * count > encoder.slack) count = encoder.slack / qe;
  encoder.slack -= qe * count;
  return count;
}

// Writes what is left of C with as many 1 bits at its end as the interval allows,
// then the end marker. Returns the byte after the code string.
inline unsigned char* FinishEncoder(ArithmeticEncoder& encoder) {
  uint32_t c = encoder.base - static_cast<uint32_t>(encoder.slack);
  const uint32_t top = encoder.base + static_cast<uint32_t>(kHalfInterval);
  c |= 0xFFFF;
  if (c >= top) c -= static_cast<uint32_t>(kHalfInterval);
  for (int byte = 0; byte < 2; ++byte) {
    c <<= encoder.bitsLeft;
    arithmetic_encoder::ByteOut(encoder, c);
  }
  if (*encoder.last != kMarkerPrefix) *++encoder.last = kMarkerPrefix;
  *++encoder.last = kEndMarker;
  return encoder.last + 1;
}
