#include "Host/Abic/Reading/LikelyParameters.h"

#include <algorithm>
#include <bit>
#include <iterator>
#include <span>

namespace {

// In the row above the columns from `first` to `last`, so many to the left, and in the row
// above those the columns up to `far` to either side; -1 for none.
constexpr uint32_t Places(int first, int last, int left, int far = -1) {
  return kz::AbicPlacesWhere([=](kz::AbicPlace place) {
    if (place.row == 0) return -place.column <= left;
    if (place.row == -1) return place.column >= first && place.column <= last;
    return place.column >= -far && place.column <= far;
  });
}

constexpr uint32_t kLikelyPlaces[] = {
    kz::kAbicUsualPlaces, Places(-1, 2, 3),    Places(-2, 1, 3),
    Places(-1, 1, 3, 0),  Places(-2, 2, 1, 0), Places(-1, 1, 4),
};
static_assert(std::all_of(std::begin(kLikelyPlaces), std::end(kLikelyPlaces),
                          [](uint32_t set) { return std::popcount(set) == 7; }));

// Other framings come with so many of these only.
constexpr size_t kPlacesOfOtherFramings = 2;

}  // namespace

LikelyParameters::LikelyParameters(const kz::AbicParameters& first, int width, int depth)
    : m_first(first), m_planes(depth > 1) {
  for (const bool otherBits : {false, true}) {
    for (const bool otherWidth : {false, true}) {
      if (otherWidth && width % 8 == 0) continue;
      kz::AbicParameters parameters = first;
      parameters.exactWidth = first.exactWidth != otherWidth;
      parameters.reversedBits = first.reversedBits != otherBits;
      const bool other = otherBits || otherWidth;
      Add(parameters);
      const size_t sets = other ? kPlacesOfOtherFramings : std::size(kLikelyPlaces);
      for (const uint32_t places : std::span(kLikelyPlaces).first(sets)) {
        parameters.places = places;
        if (places != first.places) Add(parameters);
      }
    }
  }
}

void LikelyParameters::Add(const kz::AbicParameters& parameters) {
  for (const bool wraps : {false, true}) {
    for (const bool flips : {false, true}) {
      for (const bool apart : {false, true}) {
        kz::AbicParameters& added = m_parameters.at(m_count);
        added = parameters;
        added.wrapsEdges = wraps;
        added.flipsInStateOne = flips;
        added.planesApart = apart;
        if (added != m_first && (m_planes || !apart)) ++m_count;
      }
    }
  }
}
