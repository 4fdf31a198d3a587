// Image contents put together by hand, and what becomes of them as text.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <ostream>
#include <string>
#include <vector>

#include "Tests/Support/TestPictures.h"
#include "Toolkit/Images/DecodeImage.h"

namespace kz::test {

constexpr uint8_t kNone = 0x03, kPackBits = 0x0C, kLzw = 0x0D, kLzwPredictor = 0x0E;
constexpr uint8_t kGroup4 = 0x82, kJbig2 = 0x84, kTiff2 = 0x09, kSolid = 0x20;
constexpr uint8_t kRgb = 0x01, kYCrCb = 0x02, kCmyk = 0x04, kYCbCr = 0x12;

struct Given {
  const char* name;
  uint8_t compression;
  int width;
  int height;
  int bits;
  uint8_t space;
  Bytes components;
  std::vector<Bytes> bands;
  std::string pixels;  // of each row, "RRGGBB " each; "#" and "." for 1 bit
  uint8_t recording = 0x01;
  bool reversed = false;
  bool subtractive = false;
  bool grayCode = false;
};
inline void PrintTo(const Given& given, std::ostream* to) { *to << given.name; }

inline ImageContent Make(const Given& given) {
  ImageContent content;
  ImageParameters& parameters = content.image.parameters;
  parameters.compression = given.compression;
  parameters.recording = given.recording;
  parameters.lowestBitFirst = given.reversed;
  parameters.width = given.width;
  parameters.height = given.height;
  parameters.bitsPerPixel = given.bits;
  parameters.subtractive = given.subtractive;
  parameters.grayCode = given.grayCode;
  parameters.colorSpace = given.space;
  parameters.componentBits = given.components;
  if (given.bands.size() > 1) parameters.bandBits = given.components;
  content.image.bands = given.bands;
  content.image.at = 8120;
  return content;
}

inline std::string Pixels(const Bitmap& bitmap) {
  std::string text;
  for (int y = 0; y < bitmap.Height(); ++y) {
    if (y > 0) text += "/";
    for (int x = 0; x < bitmap.Width(); ++x) {
      const Color color = ColorAt(bitmap, x, y);
      if (bitmap.BitsPerPixel() == 1) {
        text += color[0] == 0 ? '#' : '.';
        continue;
      }
      char hex[8];
      (void)std::snprintf(hex, sizeof(hex), "%02X%02X%02X", color[0], color[1], color[2]);
      if (x > 0) text += ' ';
      text += hex;
    }
  }
  return text;
}

struct Decoded {
  Outcome outcome;
  DecodedImage image;
  bool damaged = false;
  std::string Text() const { return outcome.Ok() ? Pixels(image.bitmap) : outcome.what; }
};

inline Decoded Decode(const ImageContent& content, const ImageDescriptor& descriptor = {},
                      const LoadOptions& options = {}) {
  Decoded decoded;
  decoded.outcome = DecodeImage(content, descriptor, options, decoded.image, decoded.damaged);
  return decoded;
}

}  // namespace kz::test
