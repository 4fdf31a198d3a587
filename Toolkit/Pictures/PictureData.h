// A picture as coded data that other formats carry as they are.
#pragma once

#include <cstdint>
#include <vector>

namespace kz {

enum class PictureCoding : uint8_t {
  kGroup4,      // ITU-T T.6
  kGroup3OneD,  // ITU-T T.4, one-dimensional
  kGroup3TwoD,  // ITU-T T.4, two-dimensional
  kJpeg,        // a whole baseline or progressive JPEG file
};

// What is coded, and what a decoder must be told of it.
struct PictureData {
  PictureCoding coding = PictureCoding::kGroup4;
  int width = 0;        // pixels
  int height = 0;       // rows that the data are decoded to
  int xResolution = 0;  // dots per inch; 0 = not known
  int yResolution = 0;
  bool bottomUp = false;    // the first coded row is the lowest one
  bool whiteIsOne = false;  // fax data: the runs that are coded as black show white
  // Fax data, as far as is known: Group 3 only but for endsWithMarker.
  bool hasEndOfLines = false;      // every row follows an EOL
  bool alignedRows = false;        // rows without EOL begin in new bytes
  bool alignedEndOfLines = false;  // fill bits make every EOL end with a byte
  bool endsWithMarker = false;     // EOFB or RTC follows the last row
  // JPEG data.
  int components = 0;         // 1: grey; 3: colours; 4: inks
  bool invertedInks = false;  // 255 is no ink, as with Adobe's marker
  // Fax data have their first bit in the highest bit of a byte.
  std::vector<unsigned char> data;
};

}  // namespace kz
