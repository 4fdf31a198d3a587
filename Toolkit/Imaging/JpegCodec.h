// JPEG data (ITU-T T.81) in memory, through libjpeg-turbo. No error of the library
// ends the process.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/Base/InkPicture.h"

namespace kz {

struct JpegDecoding {
  int status = 0;        // as LoadMemory returns it
  bool damaged = false;  // decoded, but parts of the data were not usable
  std::string what;      // the library's words on a failure; may be empty
};

// Whether data begin as JPEG data do.
K_EXPORT bool IsJpeg(const unsigned char* data, size_t size);

// Decodes into a new bitmap, top row first, with the resolution of the JFIF header.
// bitsPerPixel 1, 4, 8 or 24; 0 = 8 for grey data, else 24. Pictures of more than
// maxPixels, or of more than so few data can hold, fail with -9. Data that end before
// the picture does fail with -7, other damage that the decoder can get over is
// noted. The bitmap is empty after a failure.
K_EXPORT JpegDecoding DecodeJpeg(const unsigned char* data, size_t size, int bitsPerPixel,
                                 int colorOrder, Bitmap& bitmap,
                                 int64_t maxPixels = kDefaultMaxPixels);

// Why readers of pages may not decode these JPEG data as DecodeJpeg does, in words that
// go on after "its JPEG data are coded anew: "; null when nothing stands against it. Only
// the header is looked at.
K_EXPORT const char* ObjectionToCoding(const unsigned char* data, size_t size);

// Whether the components of these JPEG data are red, green and blue as they are, and no
// YCbCr. Only the header is looked at; false when that is damaged.
K_EXPORT bool HoldsPlainRgb(const unsigned char* data, size_t size);

// Turns JPEG data upside down without loss, with their markers. Data that allow no
// such turn, for a height within a block or for damage, stay as they are: *flipped
// says which. Fails as DecodeJpeg does.
K_EXPORT Outcome FlipJpeg(std::vector<unsigned char>& data, int64_t maxPixels, bool& flipped);

// Encodes a picture of inks with its profile, full chroma, at a quality of 1 to 100. Fails
// with -9 for a size that JPEG data can't have, -1 for no memory.
K_EXPORT Outcome EncodeInks(const InkPicture& inks, int quality, std::vector<unsigned char>& data);

}  // namespace kz
