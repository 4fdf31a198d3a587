#include "Host/Abic/BitPlane.h"

namespace {

constexpr int kNibblesPerWord = 8;

uint32_t LoadWord(const unsigned char* row, int index) {
  const unsigned char* bytes = row + size_t{4} * static_cast<size_t>(index);
  return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
}

void StoreWord(uint32_t word, unsigned char* row, int index) {
  unsigned char* bytes = row + size_t{4} * static_cast<size_t>(index);
  bytes[0] = static_cast<unsigned char>(word >> 24);
  bytes[1] = static_cast<unsigned char>(word >> 16);
  bytes[2] = static_cast<unsigned char>(word >> 8);
  bytes[3] = static_cast<unsigned char>(word);
}

// Bit `plane` of each of eight nibbles as a byte, and back.
uint32_t GatherBits(uint32_t nibbles, int plane) {
  uint32_t bits = nibbles >> plane & 0x11111111;
  bits = (bits | bits >> 3) & 0x03030303;
  bits = (bits | bits >> 6) & 0x000F000F;
  return (bits | bits >> 12) & 0xFF;
}

uint32_t SpreadBits(uint32_t byte, int plane) {
  uint32_t bits = (byte | byte << 12) & 0x000F000F;
  bits = (bits | bits << 6) & 0x03030303;
  bits = (bits | bits << 3) & 0x11111111;
  return bits << plane;
}

uint32_t LeftContext(uint64_t left) { return static_cast<uint32_t>(left) & kContextLeft; }

// The state of the context whose pixels all are `colour` (0 or ~0).
ContextState UniformState(const ContextStates& states, uint64_t colour) {
  return states[colour & (kContexts - 1)];
}

bool IsMps(ContextState state, uint64_t colour) { return (state & 1U) == (colour & 1U); }

// How many words at a row's start have white contexts only, `rows` being those that
// must be white; a word's contexts reach into the next word. Words that `slack`
// doesn't cover, or that aren't whole, don't count.
template <typename... Rows>
int WhiteStart(ContextState whiteState, int slack, int width, const Rows&... rows) {
  if (!IsMps(whiteState, 0)) return 0;
  const int limit =
      std::min(slack / (kTransitions[whiteState].qe * kWordPixels), width / kWordPixels);
  int words = 0;
  while (words <= limit && (rows.Word(words) | ...) == 0) ++words;
  return std::max(words - 1, 0);
}

// The states of the two contexts that differ in the left neighbour only.
class StatePair {
 public:
  StatePair(const ContextStates& states, uint32_t context) {
    const ContextState* pair = &states[context & ~1U];
    m_states = uint32_t{pair[0]} | uint32_t{pair[1]} << 8;
  }
  ContextState Get(uint64_t left) const {
    return static_cast<ContextState>(m_states >> (left & 1U) * 8);
  }

 private:
  uint32_t m_states;
};

}  // namespace

// A pixel's context is known but for its left neighbour while that is still being
// decoded, so both states are fetched ahead: otherwise every pixel waits for the
// one before it and then for memory.
void DecodePlaneRow(ArithmeticDecoder& decoder, ContextStates& states, PlaneRows& rows, int width) {
  PlaneRow& row = rows.Current();
  ArithmeticDecoder local = decoder;
  const int white = WhiteStart(states[0], local.slack, width, rows.TwoAbove(), rows.OneAbove());
  DecodeMpsRun(local, states[0], white * kWordPixels);
  for (int word = 0; word < white; ++word) row.Word(word) = 0;

  uint64_t left = 0;  // the pixels decoded so far, the last one in bit 0
  for (int word = white; word < PlaneWords(width); ++word) {
    RowsAbove above = RowsAboveWord(rows.TwoAbove(), rows.OneAbove(), word);
    const int pixels = PixelsOfWord(word, width);
    int rest = pixels;

    const uint64_t colour = 0 - (left & 1U);
    const ContextState uniformState = UniformState(states, colour);
    if (LeftContext(left ^ colour) == 0 && IsMps(uniformState, colour)) {
      const int run =
          DecodeMpsRun(local, uniformState, std::min(UniformAbove(above, colour), rest));
      left = left << run | (colour & ((uint64_t{1} << run) - 1));
      above.Advance(run);
      rest -= run;
    }

    uint32_t context = ContextAbove(above) | LeftContext(left);
    StatePair pair(states, context);
    for (; rest > 0; --rest) {
      above.Advance(1);
      const uint32_t nextContext = ContextAbove(above) | LeftContext(left << 1);
      StatePair nextPair(states, nextContext);
      ContextState& state = states[context | (left & 1U)];
      unsigned pixel = 0;
      if (!DecodeWithinSlack(local, pair.Get(left), pixel)) {
        pixel = DecodeBeyondSlack(local, state);
        nextPair = StatePair(states, nextContext);
      }
      left = left << 1 | pixel;
      context = nextContext;
      pair = nextPair;
    }
    row.Word(word) = static_cast<uint32_t>(left << (kWordPixels - pixels));
  }
  decoder = local;
}

void EncodePlaneRow(ArithmeticEncoder& encoder, ContextStates& states, const PlaneRows& rows,
                    int width) {
  const PlaneRow& row = rows.Current();
  ArithmeticEncoder local = encoder;
  const int white =
      WhiteStart(states[0], local.slack, width, rows.TwoAbove(), rows.OneAbove(), row);
  EncodeMpsRun(local, states[0], white * kWordPixels);
  for (int word = white; word < PlaneWords(width); ++word) {
    RowsAbove above = RowsAboveWord(rows.TwoAbove(), rows.OneAbove(), word);
    RowHere here(row, word);
    int rest = PixelsOfWord(word, width);

    const uint64_t colour = 0 - (here.Context() & 1U);
    const ContextState uniformState = UniformState(states, colour);
    if (IsMps(uniformState, colour)) {
      const int uniform = std::min(UniformAbove(above, colour), here.Uniform(colour));
      const int run = EncodeMpsRun(local, uniformState, std::min(uniform, rest));
      above.Advance(run);
      here.Advance(run);
      rest -= run;
    }
    for (; rest > 0; --rest) {
      Encode(local, states[ContextAbove(above) | here.Context()], here.Pixel());
      above.Advance(1);
      here.Advance(1);
    }
  }
  encoder = local;
}

void ReadPlane(const unsigned char* imageRow, int depth, int plane, int width, PlaneRow& row) {
  const int words = PlaneWords(width);
  if (depth == 1) {
    for (int word = 0; word < words; ++word) row.Word(word) = LoadWord(imageRow, word);
  } else {
    const int imageWords = (width + kNibblesPerWord - 1) / kNibblesPerWord;
    for (int word = 0; word < words; ++word) {
      uint32_t bits = 0;
      for (int part = 0; part < 4; ++part) {
        const int imageWord = 4 * word + part;
        bits <<= 8;
        if (imageWord < imageWords) bits |= GatherBits(LoadWord(imageRow, imageWord), plane);
      }
      row.Word(word) = bits;
    }
  }
  const int unused = words * kWordPixels - width;
  row.Word(words - 1) &= ~uint32_t{0} << unused;
}

void WritePlane(const PlaneRow& row, int depth, int plane, int width, unsigned char* imageRow) {
  if (depth == 1) {
    for (int word = 0; word < PlaneWords(width); ++word) {
      StoreWord(row.Word(word), imageRow, word);
    }
    return;
  }
  const int imageWords = (width + kNibblesPerWord - 1) / kNibblesPerWord;
  for (int imageWord = 0; imageWord < imageWords; ++imageWord) {
    const uint32_t bits = row.Word(imageWord / 4) >> (24 - imageWord % 4 * 8) & 0xFF;
    StoreWord(LoadWord(imageRow, imageWord) | SpreadBits(bits, plane), imageRow, imageWord);
  }
}
