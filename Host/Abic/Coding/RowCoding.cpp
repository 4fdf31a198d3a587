#include "Host/Abic/Coding/RowCoding.h"

#include <algorithm>
#include <bit>
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

// For each pixel of a group a number that its neighbours make.
struct GroupNumbers {
  // As many as an instruction takes.
  using Vector [[gnu::vector_size(16)]] = unsigned char;
  Vector vectors[Raster::kGroup / sizeof(Vector)] = {};

  // Puts one more neighbour into all numbers, that of the first pixel being at `from`.
  void Take(const unsigned char* from) {
    for (Vector& vector : vectors) {
      Vector pixels;
      std::memcpy(&pixels, from, sizeof pixels);
      vector += vector + pixels;
      from += sizeof pixels;
    }
  }
  // The neighbours in the rows above.
  void TakeAbove(const Neighbourhood& neighbours, const unsigned char* pixels) {
    for (int place = 0; place < neighbours.places; ++place) {
      Take(pixels + neighbours.above[static_cast<size_t>(place)]);
    }
  }
  // Those to the left that count.
  void TakeLeft(const Neighbourhood& neighbours, const unsigned char* pixels) {
    for (int distance = 1; distance <= kReach; ++distance) {
      if ((neighbours.left >> (distance - 1) & 1U) != 0) Take(pixels - distance);
    }
  }
};

// Whether the rows above a group of pixels are white wherever its contexts reach.
bool IsWhiteAbove(const unsigned char* pixels, ptrdiff_t stride) {
  uint64_t all = 0;
  for (int x = -kWordPixels; x < Raster::kGroup + kWordPixels; x += kWordPixels) {
    all |= LoadWord(pixels + x - stride) | LoadWord(pixels + x - 2 * stride);
  }
  return all == 0;
}

// The words of a group that consist of one number.
class WordsOfOne {
 public:
  explicit WordsOfOne(const unsigned char* numbers) {
    for (int i = 0; i < kWords; ++i) {
      const uint64_t word = LoadWord(numbers + ptrdiff_t{i} * kWordPixels);
      const bool one = word == (word & 0xFF) * kOnes;
      m_words |= static_cast<uint32_t>(one) << i;
    }
  }
  // Whether one starts at a pixel.
  bool StartsAt(int pixel) const {
    return pixel % kWordPixels == 0 && (m_words >> pixel / kWordPixels & 1U) != 0;
  }
  // Where, past a pixel, the next one or the end of the group is.
  int Next(int pixel) const {
    const int word = pixel / kWordPixels + 1;
    return (word + std::countr_zero((m_words | 1U << kWords) >> word)) * kWordPixels;
  }

 private:
  static constexpr int kWords = Raster::kGroup / kWordPixels;
  uint32_t m_words = 0;
};

// Whether the pixels to the left are of the nearest one's colour, so that those of a run of
// it have one context where the numbers of the rows above are the same.
bool IsOneColour(const Neighbourhood& neighbours, uint32_t left) {
  // Also those that don't count, as they move on to where one may count.
  return ((left ^ (0 - (left & 1))) & neighbours.nearest) == 0;
}

// Decodes `count` pixels, of which the first has `state`, and leaves that of the one past
// them. A pixel's context is known but for its left neighbour while that is still being
// decoded, so both states are fetched ahead: otherwise every pixel waits for the one before
// it and then for memory.
uint32_t DecodePixels(ArithmeticDecoder& decoder, ContextStates& states,
                      const Neighbourhood& neighbours, const unsigned char* above, int count,
                      uint32_t left, ContextState& state, unsigned char* pixels) {
  // Not by the reference: for all the compiler knows, storing a pixel changes that one.
  const Neighbourhood places = neighbours;
  for (int x = 0; x < count; ++x) {
    const ContextState* next = &states[places.Context(above[x + 1], left << 1)];
    const uint64_t pair = next[0] | uint64_t{next[1]} << 32;
    unsigned pixel = Mps(state);
    if (DecodeWithinSlack(decoder, state)) {
      state = static_cast<ContextState>(pair >> (state & 0x3F));
    } else {
      const uint32_t context = places.Context(above[x], left);
      pixel = DecodeBeyondSlack(decoder, state);
      states[context] = states[places.Twin(context)] = state;
      state = next[pixel];
    }
    pixels[x] = static_cast<unsigned char>(pixel);
    left = left << 1 | pixel;
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
  if (raster.IsWhiteAbove() && left == 0 && Mps(states[0]) == 0) {
    x = DecodeMpsRun(local, states[0], raster.Width());
  }
  unsigned char above[Raster::kGroup + 1] = {};
  while (x < raster.Width()) {
    const int group = std::min(raster.Ahead(), raster.Width() - x);
    int i = 0;
    if ((left & neighbours.nearest) == 0 && Mps(states[0]) == 0 &&
        IsWhiteAbove(row + x, raster.Stride())) {
      i = DecodeMpsRun(local, states[0], group);
      std::memset(above, 0, sizeof above);
    } else {
      GroupNumbers numbers;
      numbers.TakeAbove(neighbours, row + x);
      std::memcpy(above, &numbers, sizeof numbers);
    }
    const WordsOfOne words(above);
    ContextState state = states[neighbours.Context(above[i], left)];
    while (i < group) {
      const uint32_t colour = left & 1;
      if (words.StartsAt(i) && Mps(state) == colour && IsOneColour(neighbours, left)) {
        const int run = DecodeMpsRun(local, state, std::min(kWordPixels, group - i));
        // White they are.
        if (colour != 0) std::memset(row + x + i, 1, static_cast<size_t>(run));
        i += run;
        left = 0 - colour;
        state = states[neighbours.Context(above[i], left)];
        if (i % kWordPixels == 0 && run != 0) continue;
      }
      const int count = std::min(words.Next(i), group) - i;
      left = DecodePixels(local, states, neighbours, above + i, count, left, state, row + x + i);
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
  for (int x = 0; x < raster.Width();) {
    const int group = std::min(raster.Ahead(), raster.Width() - x);
    // Here a context's number is only of the neighbours that count. The rows above come first,
    // as in narrow rasters they go on into this group, which isn't coded for them.
    GroupNumbers numbers;
    numbers.TakeAbove(neighbours, row + x);
    std::memcpy(row + x, pixels + x, static_cast<size_t>(group));
    numbers.TakeLeft(neighbours, row + x);
    unsigned char contexts[Raster::kGroup];
    std::memcpy(contexts, &numbers, sizeof numbers);
    for (int i = 0; i < group;) {
      const int end = std::min(i + kWordPixels, group);
      const ContextState state = states[contexts[i]];
      if (LoadWord(contexts + i) == contexts[i] * kOnes &&
          LoadWord(row + x + i) == Mps(state) * kOnes) {
        i += EncodeMpsRun(local, state, end - i);
      }
      for (; i < end; ++i) Encode(local, states[contexts[i]], row[x + i]);
    }
    x += group;
  }
  encoder = local;
}
