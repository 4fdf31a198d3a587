// The decoding side of the arithmetic coder (T.88 Annex E.3).
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "Host/Abic/ArithmeticCoder.h"

// Decoding an MPS takes Qe off A and off the upper half of C; nothing else
// happens until A gets too small or C would go below 0. `slack` is how much can
// still be taken off both, so that the common decision is one subtraction and one
// comparison; `a` and `c` hold what is left of A and C without it.
//
// C's upper half is the 16 most significant bits of `c`; the bits of several bytes
// wait below it.
struct ArithmeticDecoder {
  int32_t slack;
  int32_t a;
  uint64_t c;
  int waitingBits;
  uint32_t lastByte;
  const unsigned char* next;
  const unsigned char* end;
  int64_t fillBits;  // read after the end of the code string, where all bits are 1
  bool truncated;    // the bytes ran out without a marker
};

// Bits after its end that decoding a whole code string may shift into C's upper
// half. After n shifts 15 + n bits are there; the encoder has by then made at
// least 4 + n with the two bytes that end the string.
constexpr int kMaxFillBits = 11;

namespace arithmetic_decoder {

constexpr int kUpperShift = 48;
// The most that one decision shifts.
constexpr int kMaxShift = 15;

inline void AddUpper(ArithmeticDecoder& decoder, int32_t value) {
  decoder.c += static_cast<uint64_t>(int64_t{value}) << kUpperShift;
}

inline int32_t Upper(const ArithmeticDecoder& decoder) {
  return static_cast<int32_t>(decoder.c >> kUpperShift);
}

inline void ByteIn(ArithmeticDecoder& decoder) {
  const bool stuffed = decoder.lastByte == kMarkerPrefix;
  const bool missing = decoder.next == decoder.end;
  uint64_t byte = 0xFF;
  int bits = 8;
  if (missing || (stuffed && *decoder.next > kMaxStuffedByte)) {
    decoder.truncated |= missing;
    decoder.fillBits += bits;
  } else {
    byte = decoder.lastByte = *decoder.next++;
    if (stuffed) bits = 7;
  }
  // The stuffed bit comes to lie on the last bit before it, to which it carries.
  decoder.waitingBits += bits;
  decoder.c += byte << (kUpperShift - decoder.waitingBits);
}

inline void FillC(ArithmeticDecoder& decoder) {
  while (decoder.waitingBits <= kUpperShift - 8) ByteIn(decoder);
}

inline void TakeSlack(ArithmeticDecoder& decoder) {
  decoder.slack = std::min(decoder.a - kHalfInterval, Upper(decoder));
  decoder.a -= decoder.slack;
  AddUpper(decoder, -decoder.slack);
}

}  // namespace arithmetic_decoder

// A decoder at the start of a code string of at least one byte, which must stay
// where it is.
inline ArithmeticDecoder StartDecoder(const unsigned char* data, size_t size) {
  ArithmeticDecoder decoder{};
  decoder.next = data;
  decoder.end = data + size;
  // The first bit of a code string lies one below C's most significant bit.
  decoder.waitingBits = -15;
  arithmetic_decoder::FillC(decoder);
  decoder.a = kHalfInterval;
  arithmetic_decoder::TakeSlack(decoder);
  return decoder;
}

// Decodes a decision in a context if that only changes the slack: it is the MPS,
// and the context's state stays. Otherwise returns false, and DecodeBeyondSlack
// must follow.
inline bool DecodeWithinSlack(ArithmeticDecoder& decoder, ContextState state, unsigned& symbol) {
  decoder.slack -= kTransitions[state].qe;
  symbol = state & 1U;
  return decoder.slack >= 0;
}

// The decision whose Qe made the slack negative: an LPS, or an MPS after which A
// is too small. Returns it, 0 or 1.
inline unsigned DecodeBeyondSlack(ArithmeticDecoder& decoder, ContextState& state) {
  using arithmetic_decoder::AddUpper;
  using arithmetic_decoder::Upper;
  const Transition& transition = kTransitions[state];
  const int32_t qe = transition.qe;
  const int32_t rest = decoder.a + decoder.slack;
  const bool lower = Upper(decoder) + decoder.slack < 0;
  // The larger part of the interval is always the MPS's: when Qe is above the
  // rest, the two parts have changed places.
  const bool lps = lower == (rest >= qe);
  const unsigned symbol = (state & 1U) ^ static_cast<unsigned>(lps);
  state = lps ? transition.afterLps : transition.afterMps;
  AddUpper(decoder, decoder.slack + (lower ? qe : 0));
  const int32_t a = lower ? qe : rest;

  const int shift = std::countl_zero(static_cast<uint32_t>(a)) - 16;
  if (decoder.waitingBits < arithmetic_decoder::kMaxShift) arithmetic_decoder::FillC(decoder);
  decoder.a = a << shift;
  decoder.c <<= shift;
  decoder.waitingBits -= shift;
  arithmetic_decoder::TakeSlack(decoder);
  return symbol;
}

// Decodes, of `count` decisions in one context, those that are its MPS for
// certain, at once. Returns how many.
inline int DecodeMpsRun(ArithmeticDecoder& decoder, ContextState state, int count) {
  const int32_t qe = kTransitions[state].qe;
  if (qe * count > decoder.slack) count = decoder.slack / qe;
  decoder.slack -= qe * count;
  return count;
}

// Whether more was decoded than the code string holds: it was cut, or is that of
// a smaller image.
inline bool IsPastEnd(const ArithmeticDecoder& decoder) {
  return decoder.truncated || decoder.fillBits - decoder.waitingBits > kMaxFillBits;
}
