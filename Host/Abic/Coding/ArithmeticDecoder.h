// The decoding side of the arithmetic coder.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "Host/Abic/Coding/ArithmeticCoder.h"

// Decoding an MPS takes Qe off A and off the upper part of C; nothing else happens until A
// gets too small or C would go below 0. `slack` is how much can still be taken off both,
// so that the common decision is one subtraction and one comparison; `a` and `c` hold what
// is left of A and C without it.
//
// C's upper part is the 16 most significant bits of `c`, of which the code string fills
// the lower 12; the bits of several bytes wait below it. Past the end of the code string
// all bits are 0.
struct ArithmeticDecoder {
  int32_t slack;
  int32_t a;
  uint64_t c;
  int waitingBits;
  bool stuffed;  // the byte before the next one is kStuffedAfter
  const Transition* transitions;
  const unsigned char* next;
  const unsigned char* end;
  int64_t readBits;  // bits of the code string, and after its end, that `c` took in
};

namespace arithmetic_decoder {

constexpr int kUpperShift = 48;
// The most that one decision shifts: Qe is at least 1.
constexpr int kMaxShift = 12;

inline void AddUpper(ArithmeticDecoder& decoder, int32_t value) {
  decoder.c += static_cast<uint64_t>(int64_t{value}) << kUpperShift;
}

inline int32_t Upper(const ArithmeticDecoder& decoder) {
  return static_cast<int32_t>(decoder.c >> kUpperShift);
}

inline void ByteIn(ArithmeticDecoder& decoder) {
  const uint64_t byte = decoder.next != decoder.end ? *decoder.next++ : 0U;
  const int bits = decoder.stuffed ? 7 : 8;
  decoder.stuffed = byte == kStuffedAfter;
  // The stuffed bit comes to lie on the last bit before it, to which it carries.
  decoder.waitingBits += bits;
  decoder.readBits += bits;
  decoder.c += byte << (kUpperShift - decoder.waitingBits);
}

inline void FillC(ArithmeticDecoder& decoder) {
  while (decoder.waitingBits <= kUpperShift - 8) ByteIn(decoder);
}

inline void TakeSlack(ArithmeticDecoder& decoder) {
  decoder.slack = std::min(decoder.a - kLeastInterval, Upper(decoder));
  decoder.a -= decoder.slack;
  AddUpper(decoder, -decoder.slack);
}

}  // namespace arithmetic_decoder

// A decoder at the start of a code string, which must stay where it is.
inline ArithmeticDecoder StartDecoder(const unsigned char* data, size_t size,
                                      const Transitions& transitions) {
  ArithmeticDecoder decoder{};
  decoder.transitions = transitions.data();
  decoder.next = data;
  decoder.end = data + size;
  decoder.waitingBits = -kFractionBits;
  arithmetic_decoder::FillC(decoder);
  decoder.a = kLeastInterval;
  arithmetic_decoder::TakeSlack(decoder);
  return decoder;
}

// Decodes a decision in a context if that only changes the slack: it is the MPS,
// and the context's state stays. Otherwise returns false, and DecodeBeyondSlack
// must follow.
inline bool DecodeWithinSlack(ArithmeticDecoder& decoder, ContextState state) {
  decoder.slack -= Qe(state);
  return decoder.slack >= 0;
}

// The decision whose Qe made the slack negative: an LPS, or an MPS after which A
// is too small. Returns it, 0 or 1.
inline unsigned DecodeBeyondSlack(ArithmeticDecoder& decoder, ContextState& state) {
  using arithmetic_decoder::AddUpper;
  using arithmetic_decoder::Upper;
  const Transition& transition = decoder.transitions[TransitionIndex(state)];
  const int32_t qe = Qe(state);
  const int32_t rest = decoder.a + decoder.slack;
  // Which of the two it is can't be foreseen, so there is no branch: this is ~0 for an LPS.
  const int32_t lps = (Upper(decoder) + decoder.slack) >> 31;
  const unsigned symbol = Mps(state) ^ static_cast<unsigned>(lps & 1);
  state = transition.after[lps & 1];
  const int shiftOfMps = ShiftOfMps(rest);
  const int shift = shiftOfMps + ((transition.shiftOfLps - shiftOfMps) & lps);
  const int32_t a = rest + ((qe - rest) & lps);
  AddUpper(decoder, decoder.slack + (qe & lps));

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
  const int32_t qe = Qe(state);
  if (qe * count > decoder.slack) count = decoder.slack / qe;
  decoder.slack -= qe * count;
  return count;
}

// Bits of the code string, and of what is missing after it, without which the decisions so
// far could not be told apart from all others: those that C holds or has shifted out.
inline int64_t UsedBits(const ArithmeticDecoder& decoder) {
  return decoder.readBits - decoder.waitingBits;
}
