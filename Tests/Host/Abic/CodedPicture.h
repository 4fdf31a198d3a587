// Pictures coded by the independent coder with the product's names of the open points.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Host/Abic/AbicText.h"
#include "Tests/Host/Abic/TestPictures.h"

namespace kz::test {

// What a text such as "0:-2,-1 -1:-2,-1,0,1,2 flips" says. Throws for one that isn't understood.
inline kz::AbicParameters ParametersOf(std::string_view text, bool exactWidth = false) {
  kz::AbicParameters parameters;
  if (!kz::ReadAbicText(text, parameters)) throw std::invalid_argument(std::string(text));
  parameters.exactWidth = exactWidth;
  return parameters;
}

// What the independent coder calls the parameters, but for the order of bits.
inline OpenPoints PointsOf(const kz::AbicParameters& parameters) {
  OpenPoints points;
  for (size_t i = 0; i < kz::kAbicPlaces.size(); ++i) {
    if ((parameters.places >> i & 1U) == 0) continue;
    points.neighbours.emplace_back(kz::kAbicPlaces[i].column, kz::kAbicPlaces[i].row);
  }
  points.flipsInStateOne = parameters.flipsInStateOne;
  points.wrapsEdges = parameters.wrapsEdges;
  points.planesApart = parameters.planesApart;
  points.exactWidth = parameters.exactWidth;
  return points;
}

// The string of an image by any producer; the order of its bits is the highest first.
inline std::vector<unsigned char> CodedWith(const kz::AbicParameters& parameters,
                                            const IndependentImage& image, Producer producer) {
  return EncodeIndependently(image, PointsOf(parameters), producer);
}

}  // namespace kz::test
