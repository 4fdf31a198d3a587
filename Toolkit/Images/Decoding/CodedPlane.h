// The data of one band, or of a picture without bands, to samples.
#pragma once

#include <cstdint>

#include "Toolkit/Images/Decoding/SamplePlane.h"
#include "Toolkit/Images/ImageContent.h"

namespace kz {

// What a plane's decoding goes by.
struct PlaneRequest {
  const ImageParameters* parameters;
  int64_t at;  // of the compression, for messages
  int64_t maxPixels;
  int pixelBits;      // of a pixel in the plane
  size_t components;  // of a pixel in the plane
};

// Decodes data into a plane, which may refer to them. Data that end early have fewer rows;
// those of LZW, whose coders may stop early, are made up with zeros. A plane without a row
// is a failure.
Outcome DecodePlane(CodedBytes data, const PlaneRequest& request, SamplePlane& plane);

}  // namespace kz
