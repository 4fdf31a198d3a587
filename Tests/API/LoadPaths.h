// A small picture for each path that a load can take.
#pragma once

#include <string>
#include <vector>

#include "Tests/Support/FileBuilder.h"

// One file for each path, with what it takes to load it.
struct Path {
  const char* name;
  Bytes segment;
  int width, height, depth;
  Bytes picture;  // expected, in rows of bytesPerRow
  size_t bytesPerRow;
  bool fromTarget;
};
const std::vector<Path>& Paths();
