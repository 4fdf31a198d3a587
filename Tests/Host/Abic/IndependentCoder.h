// A second coder of ABIC strings, for tests: slow, plain, and written apart from the
// product's, so that one mistake isn't in both. What is open about the strings of
// producers are its parameters, and it writes as different producers do.
#pragma once

#include <utility>
#include <vector>

namespace kz::test {

// What may differ between producers so that one can't read the other.
struct OpenPoints {
  // The context's pixels, as (dx, dy): dy 0 and dx below 0, or dy -1 or -2.
  std::vector<std::pair<int, int>> neighbours;
  // Whether the less probable symbol exchanges the sense in state 1 too.
  bool flipsInStateOne = false;
  // Whether what is beyond a row's end is the neighbouring row's. Pixels that aren't
  // coded yet are white then. White without.
  bool wrapsEdges = false;
  // Whether the first rows of a plane see white. They see the plane before without.
  bool planesApart = false;
  // Whether rows are coded in their width. In the next multiple of 8 without.
  bool exactWidth = false;
};

// What may differ between producers so that everyone still reads all.
enum class Producer {
  FourSpacerBits,   // of bits between the fraction and the byte, which take carries
  ThreeSpacerBits,  //
  TwoSpacerBits,    //
  Borrows,          // begins at the interval's upper end and subtracts from what is written
  TrimsZeros,       // leaves out bytes 00 at the end
  AddsBytes,        // one or two bytes 00 at the end
};

constexpr Producer kAllProducers[] = {
    Producer::FourSpacerBits, Producer::ThreeSpacerBits, Producer::TwoSpacerBits,
    Producer::Borrows,        Producer::TrimsZeros,      Producer::AddsBytes,
};

struct IndependentImage {
  int width = 0, height = 0;
  int depth = 1;                       // bits a pixel: 1, 4 or 8
  std::vector<unsigned char> samples;  // one byte a pixel, row by row
};

// The string of an image. Planes follow each other, the most significant bits' first.
std::vector<unsigned char> EncodeIndependently(const IndependentImage& image,
                                               const OpenPoints& points, Producer producer);

// The image of a string. Every string has one: past its end are bytes 00.
IndependentImage DecodeIndependently(const std::vector<unsigned char>& code, int width, int height,
                                     int depth, const OpenPoints& points);

// The string of decisions (0 or 1) of one context.
std::vector<unsigned char> EncodeDecisions(const std::vector<unsigned char>& decisions,
                                           bool flipsInStateOne, Producer producer);

// The first decisions, `count` of them, of a string of one context.
std::vector<unsigned char> DecodeDecisions(const std::vector<unsigned char>& code, int count,
                                           bool flipsInStateOne);

}  // namespace kz::test
