// JPEG data of any kind of picture, with what can be had of damaged ones.
#pragma once

#include <cstdint>
#include <vector>

#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/Images/Coders/CodedRows.h"
#include "Toolkit/Images/DecodeImage.h"

namespace kz {

struct JpegImageOptions {
  int64_t maxPixels = kDefaultMaxPixels;
  bool grayOnly = false;  // 8 bits of any data
  bool cutEnd = false;    // the last bytes may be missing: all rows are wanted nevertheless
};

// Decodes grey data into 8 bits, those of three components into 24 in the order red, green,
// blue, and those of four into `inks`, 0 = no ink, with their profile.  Rows that aren't there are
// white. Data that end early have the rows before that, and of progressive ones all, but blurred.
// Nothing is made when there is no row; the status says why.
CodedRows DecodeJpegImage(CodedBytes data, const JpegImageOptions& options, Bitmap& bitmap,
                          InkPicture& inks);

// The same data from bands, over which their bytes were dealt in turn. Producers drop what
// doesn't fill the last turn.
std::vector<unsigned char> GatherDealtBytes(const std::vector<std::vector<unsigned char>>& bands);

}  // namespace kz
