// What no public paper says of ABIC coding, and what its readers may have to find out.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace kz {

// A place beside a pixel: columns to its right and rows below it, so that what is coded
// before it has a negative row, or row 0 and a negative column.
struct AbicPlace {
  int8_t column;
  int8_t row;
};

// The places that a context may be made of; a set of them has bit i for the place i.
inline constexpr std::array<AbicPlace, 22> kAbicPlaces = {{
    {-1, 0},  {-2, 0},  {-3, 0},  {-4, 0},  {-5, 0}, {-6, 0},           // to the left
    {-4, -1}, {-3, -1}, {-2, -1}, {-1, -1}, {0, -1}, {1, -1}, {2, -1},  // the row above
    {3, -1},  {4, -1},                                                  //
    {-3, -2}, {-2, -2}, {-1, -2}, {0, -2},  {1, -2}, {2, -2}, {3, -2},  // the row above that
}};

// The set of those places for which `chosen(place)` holds.
template <typename Chosen>
constexpr uint32_t AbicPlacesWhere(Chosen chosen) {
  uint32_t set = 0;
  for (size_t i = 0; i < kAbicPlaces.size(); ++i) {
    if (chosen(kAbicPlaces[i])) set |= uint32_t{1} << i;
  }
  return set;
}

// The two pixels to the left and the five around the one above.
inline constexpr uint32_t kAbicUsualPlaces = AbicPlacesWhere([](AbicPlace place) {
  return place.row == 0 ? place.column >= -2
                        : place.row == -1 && place.column >= -2 && place.column <= 2;
});

inline constexpr int kAbicMostPlaces = 7;

// The open points of the coding, each with its likeliest reading.
struct AbicParameters {
  // The pixels whose colours are the context: at most kAbicMostPlaces of kAbicPlaces.
  uint32_t places = kAbicUsualPlaces;
  // The colours change places when the less probable one comes in state 0, or also when
  // it comes in state 1.
  bool flipsInStateOne = false;
  // Beyond a row's ends all is white, or there are the ends of the neighbouring rows: the
  // raster is one sequence of pixels.
  bool wrapsEdges = false;
  // Above a plane's first row all is white, or there is the plane before.
  bool planesApart = false;
  // The framing, which an image says, if not always rightly. Rows are coded in their exact
  // width, or with white up to a multiple of 8 pixels.
  bool exactWidth = false;
  // The bits of each byte are coded the lowest one first, or the highest.
  bool reversedBits = false;

  friend bool operator==(const AbicParameters&, const AbicParameters&) = default;
};

// How far a code string and the parameters that it was read with fit each other.
struct AbicFit {
  // Bits of the string that are left when the image is complete; below 0, bits that were
  // missing. An encoder that ends its string as soon as all is said leaves 0 to 7.
  int64_t bitsLeft = 0;
  // Rows of all planes that were read before the string ended.
  int64_t rows = 0;
  // Pixels of the padding that aren't white.
  int64_t blackPadding = 0;
};

// Writers of strings differ at the end: they may leave out bytes of 0, or add some.
inline constexpr int64_t kAbicMostMissingBits = 16;
inline constexpr int64_t kAbicMostBitsLeft = 39;

constexpr bool AbicFits(const AbicFit& fit) {
  return fit.bitsLeft >= -kAbicMostMissingBits && fit.bitsLeft <= kAbicMostBitsLeft &&
         fit.blackPadding == 0;
}

// Whether a string is one of those that this library wrote before it had the Q-Coder: it ends
// with their end marker. One of the Q-Coder hardly ever does: its writer would have to leave
// room for more than one late carry in a stuffed bit.
constexpr bool IsEarlierAbic(const unsigned char* data, size_t size) {
  return size >= 2 && data[size - 2] == 0xFF && data[size - 1] == 0xAC;
}

}  // namespace kz
