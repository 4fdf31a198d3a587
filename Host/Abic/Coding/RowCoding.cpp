#include "Host/Abic/Coding/RowCoding.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int kWordPixels = 8;
constexpr uint64_t kOnes = 0x0101010101010101;

uint64_t LoadWord(const unsigned char* pixels) {
  uint64_t word = 0;
  std::memcpy(&word, pixels, sizeof word);
  return word;
}

// The pixels before the first one of a row, the nearest in bit 0.
uint32_t PixelsBefore(const unsigned char* row) {
  uint32_t left = 0;
  for (int x = -kReach; x < 0; ++x) left = left << 1 | row[x];
  return left;
}

// For each of `count` pixels the contexts' part of the rows above, in whole words.
void GatherAbove(const Neighbourhood& neighbours, const unsigned char* pixels, int count,
                 unsigned char* above) {
  for (int x = 0; x < count; x += kWordPixels) {
    uint64_t word = 0;
    for (int place = 0; place < neighbours.places; ++place) {
      word += word + LoadWord(pixels + x + neighbours.above[static_cast<size_t>(place)]);
    }
    std::memcpy(above + x, &word, sizeof word);
  }
}

// Whether the rows above a group of pixels are white wherever its contexts reach.
bool IsWhiteAbove(const unsigned char* pixels, ptrdiff_t stride) {
  uint64_t all = 0;
  for (int x = -kWordPixels; x < Raster::kGroup + kWordPixels; x += kWordPixels) {
    all |= LoadWord(pixels + x - stride) | LoadWord(pixels + x - 2 * stride);
  }
  return all == 0;
}

// The context that all pixels of a word have as long as they stay of one colour, the one to
// their left.
struct UniformContext {
  bool found;
  uint32_t colour;
  uint32_t context;
};

UniformContext FindUniform(const Neighbourhood& neighbours, const unsigned char* above,
                           uint32_t left) {
  const uint32_t colour = left & 1;
  // Also those that don't count, as they move on to where one may count.
  const bool same = ((left ^ (0 - colour)) & neighbours.nearest) == 0;
  const bool found = same && LoadWord(above) == *above * kOnes;
  return {found, colour, neighbours.Context(*above, left)};
}

bool IsMps(ContextState state, uint32_t colour) { return (state & 1U) == colour; }

// The states of the two contexts that differ in the left neighbour only.
class StatePair {
 public:
  StatePair(const ContextStates& states, uint32_t context) {
    const ContextState* pair = &states[context & ~1U];
    m_states = uint32_t{pair[0]} | uint32_t{pair[1]} << 8;
  }
  ContextState Get(uint32_t left) const {
    return static_cast<ContextState>(m_states >> (left & 1U) * 8);
  }

 private:
  uint32_t m_states;
};

// A pixel's context is known but for its left neighbour while that is still being
// decoded, so both states are fetched ahead: otherwise every pixel waits for the
// one before it and then for memory.
uint32_t DecodePixels(ArithmeticDecoder& decoder, ContextStates& states,
                      const Neighbourhood& neighbours, const unsigned char* above, int count,
                      uint32_t left, unsigned char* pixels) {
  uint32_t context = neighbours.Context(above[0], left);
  StatePair pair(states, context);
  for (int x = 0; x < count; ++x) {
    // Past the last pixel this is any context.
    const uint32_t nextContext = neighbours.Context(above[x + 1], left << 1);
    StatePair nextPair(states, nextContext);
    unsigned pixel = 0;
    if (!DecodeWithinSlack(decoder, pair.Get(context), pixel)) {
      pixel = DecodeBeyondSlack(decoder, states[context]);
      nextPair = StatePair(states, nextContext);
    }
    pixels[x] = static_cast<unsigned char>(pixel);
    left = left << 1 | pixel;
    context = nextContext | (pixel & neighbours.left);
    pair = nextPair;
  }
  return left;
}

}  // namespace

void DecodeRow(ArithmeticDecoder& decoder, ContextStates& states, const Neighbourhood& neighbours,
               const Raster& raster) {
  unsigned char* row = raster.Row();
  ArithmeticDecoder local = decoder;
  uint32_t left = PixelsBefore(row);
  int x = 0;
  if (raster.IsWhiteAbove() && left == 0 && IsMps(states[0], 0)) {
    x = DecodeMpsRun(local, states[0], raster.Width());
  }
  unsigned char above[Raster::kGroup + 1] = {};
  while (x < raster.Width()) {
    const int group = std::min(raster.Ahead(), raster.Width() - x);
    int i = 0;
    if ((left & neighbours.nearest) == 0 && IsMps(states[0], 0) &&
        IsWhiteAbove(row + x, raster.Stride())) {
      i = DecodeMpsRun(local, states[0], group);
      std::memset(above, 0, sizeof above);
    } else {
      GatherAbove(neighbours, row + x, group, above);
    }
    while (i < group) {
      int count = std::min(kWordPixels, group - i);
      const UniformContext uniform = FindUniform(neighbours, above + i, left);
      if (uniform.found && IsMps(states[uniform.context], uniform.colour)) {
        const int run = DecodeMpsRun(local, states[uniform.context], count);
        std::memset(row + x + i, static_cast<int>(uniform.colour), static_cast<size_t>(run));
        i += run;
        count -= run;
        left = 0 - uniform.colour;
      }
      if (count == 0) continue;
      left = DecodePixels(local, states, neighbours, above + i, count, left, row + x + i);
      i += count;
    }
    x += group;
  }
  decoder = local;
}

void EncodeRow(ArithmeticEncoder& encoder, ContextStates& states, const Neighbourhood& neighbours,
               const unsigned char* pixels, const Raster& raster) {
  unsigned char* row = raster.Row();
  ArithmeticEncoder local = encoder;
  uint32_t left = PixelsBefore(row);
  unsigned char above[Raster::kGroup];
  for (int x = 0; x < raster.Width();) {
    const int group = std::min(raster.Ahead(), raster.Width() - x);
    GatherAbove(neighbours, row + x, group, above);
    for (int i = 0; i < group; ++i) {
      const uint32_t pixel = pixels[x + i];
      Encode(local, states[neighbours.Context(above[i], left)], pixel);
      left = left << 1 | pixel;
    }
    std::memcpy(row + x, pixels + x, static_cast<size_t>(group));
    x += group;
  }
  encoder = local;
}
