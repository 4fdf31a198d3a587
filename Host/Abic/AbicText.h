// The open points of ABIC coding as a line of text, for people and for the environment:
//
//   0:-2,-1 -1:-2,-1,0,1,2 flips wraps apart
//
// Each row of the context's places, 0 being the pixel's own, with its columns; then what isn't
// as usual of the rest. The framing isn't in it, as each image says it.
#pragma once

#include <algorithm>
#include <bit>
#include <charconv>
#include <string>
#include <string_view>

#include "Host/Abic/AbicParameters.h"

namespace kz {

// The variable of the environment whose text stands for the usual parameters, in reading and in
// writing.
inline constexpr const char* kAbicVariable = "KZABI_PARAMETERS";

namespace abic_text {

struct Word {
  std::string_view name;
  bool AbicParameters::*point;
};
inline constexpr Word kWords[] = {{"flips", &AbicParameters::flipsInStateOne},
                                  {"wraps", &AbicParameters::wrapsEdges},
                                  {"apart", &AbicParameters::planesApart}};

// Takes a whole number off the beginning of a text. False when there is none.
inline bool TakeNumber(std::string_view& text, int& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return false;
  text.remove_prefix(static_cast<size_t>(end - text.data()));
  return true;
}

inline bool AddPlaces(std::string_view text, uint32_t& places) {
  int row = 0, column = 0;
  if (!TakeNumber(text, row)) return false;
  for (char before = ':'; !text.empty(); before = ',') {
    if (text.front() != before) return false;
    text.remove_prefix(1);
    if (!TakeNumber(text, column)) return false;
    const uint32_t place = AbicPlacesWhere(
        [&](AbicPlace known) { return known.row == row && known.column == column; });
    if (place == 0 || (places & place) != 0) return false;
    places |= place;
  }
  return true;
}

}  // namespace abic_text

inline std::string AbicTextOf(const AbicParameters& parameters) {
  std::string text;
  for (int row = 0; row >= -2; --row) {
    char before = ':';
    for (size_t i = 0; i < kAbicPlaces.size(); ++i) {
      const AbicPlace place = kAbicPlaces[i];
      if (place.row != row || (parameters.places >> i & 1U) == 0) continue;
      if (before == ':') text.append(text.empty() ? "" : " ").append(std::to_string(row));
      text.append(1, before).append(std::to_string(place.column));
      before = ',';
    }
  }
  for (const abic_text::Word& word : abic_text::kWords) {
    if (parameters.*word.point) text.append(text.empty() ? "" : " ").append(word.name);
  }
  return text;
}

// Reads such a text; the framing stays as it is. False, with the parameters untouched, for one
// that isn't understood, or names no place or more than 7.
inline bool ReadAbicText(std::string_view text, AbicParameters& parameters) {
  AbicParameters read = parameters;
  read.places = 0;
  for (const abic_text::Word& word : abic_text::kWords) read.*word.point = false;
  while (!text.empty()) {
    const std::string_view item = text.substr(0, text.find(' '));
    text.remove_prefix(std::min(text.size(), item.size() + 1));
    if (item.empty()) continue;
    bool known = false;
    for (const abic_text::Word& word : abic_text::kWords) {
      if (item != word.name) continue;
      read.*word.point = known = true;
    }
    if (!known && !abic_text::AddPlaces(item, read.places)) return false;
  }
  if (read.places == 0 || std::popcount(read.places) > kAbicMostPlaces) return false;
  parameters = read;
  return true;
}

}  // namespace kz
