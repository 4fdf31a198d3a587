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
// 0 uncompressed, 1 fax, 2 ABIC, 3 concatenated ABIC, 4 grey and 5 colour JPEG.
const std::vector<Road>& Roads();
