// A picture of printing inks.
#pragma once

#include <vector>

namespace kz {

// Interleaved rows of cyan, magenta, yellow and black, a byte each, 0 = no ink.
struct InkPicture {
  int width = 0;
  int height = 0;
  int xResolution = 0;  // dots per inch; 0 = not known
  int yResolution = 0;
  std::vector<unsigned char> rows;     // width * 4 bytes each, top row first
  std::vector<unsigned char> profile;  // ICC profile of the inks; may be empty
};

}  // namespace kz
