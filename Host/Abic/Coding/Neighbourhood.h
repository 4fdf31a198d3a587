// The context of a pixel: which of the pixels around it, and as what number.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "Host/Abic/AbicParameters.h"
#include "Host/Abic/Coding/ArithmeticCoder.h"

// How far to the sides of a pixel its neighbours may be.
constexpr int kReach = 6;

// A context's number has the pixels of the rows above it, any seven, over those to its
// left, which have a bit each: that of the nearest, bit 0, tells apart two contexts of one
// state where it doesn't count; the others that don't count are 0.
struct Neighbourhood {
  int places = 0;                                      // in the rows above
  std::array<ptrdiff_t, kz::kAbicMostPlaces> above{};  // from the pixel to each of them
  uint32_t left = 0;                                   // those to the left that count
  uint32_t nearest = 0;  // and all that are nearer than the farthest of them

  uint32_t Context(uint32_t ofAbove, uint32_t ofLeft) const {
    return ofAbove << kReach | (ofLeft & (left | 1));
  }
  // The context that has the same state: another one where the left neighbour doesn't count.
  uint32_t Twin(uint32_t context) const { return context ^ (~left & 1); }
};
constexpr size_t kContexts = size_t{1} << (kz::kAbicMostPlaces + kReach);
using ContextStates = std::array<ContextState, kContexts>;

// The set of places in rows that start `stride` pixels after each other.
constexpr Neighbourhood MakeNeighbourhood(uint32_t set, ptrdiff_t stride) {
  Neighbourhood neighbours;
  for (size_t i = 0; i < kz::kAbicPlaces.size(); ++i) {
    if ((set >> i & 1U) == 0) continue;
    const kz::AbicPlace place = kz::kAbicPlaces[i];
    if (place.row == 0) {
      neighbours.left |= 1U << (-place.column - 1);
    } else {
      neighbours.above[static_cast<size_t>(neighbours.places++)] =
          place.row * stride + place.column;
    }
  }
  neighbours.nearest = (1U << std::bit_width(neighbours.left)) - 1;
  return neighbours;
}
