// A small picture for each road that a load can take.
#pragma once

#include <string>
#include <vector>

#include "Tests/Filter/FileBuilder.h"

// One file for each road, with what it takes to load it.
struct Road {
  const char* name;
  Bytes segment;
  int width, height, depth;
  Bytes picture;  // expected, in rows of bytesPerRow
  size_t bytesPerRow;
  bool fromTarget;
};
// Uncompressed, the fax codings and Group 4 on its second road, ABIC, concatenated ABIC, grey and
// colour JPEG.
constexpr size_t kRoads = 10;
const std::vector<Road>& Roads();

// The code string that the codec library makes of rows padded to four bytes.
Bytes AbicData(const Bytes& rows, int width, int height, bool bilevel);
