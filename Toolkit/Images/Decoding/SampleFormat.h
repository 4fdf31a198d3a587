// What the samples of a picture mean.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Images/ImageContent.h"

namespace kz {

enum class ColorModel : uint8_t { Bilevel, Gray, Rgb, YCbCr, YCrCb, Cmyk };

// Format codes of the IDE Structure field.
namespace colorspace {
constexpr uint8_t kRgb = 0x01;
constexpr uint8_t kYCrCb = 0x02;
constexpr uint8_t kCmyk = 0x04;
constexpr uint8_t kHighlight = 0x06;
constexpr uint8_t kCielab = 0x08;
constexpr uint8_t kYCbCr = 0x12;
constexpr uint8_t kNamed = 0x40;
constexpr uint8_t kInksMask = 0x80;  // nColor: the number of inks is added
}  // namespace colorspace

struct SampleFormat {
  ColorModel model = ColorModel::Bilevel;
  std::vector<uint8_t> bits = {1};  // of each component, 1 to 16
  bool subtractive = false;
  bool grayCode = false;

  size_t Components() const { return bits.size(); }
  // Bits of a pixel.
  int PixelBits() const;
  // Of the picture that it makes: 1, 8, 24, or 32 for inks.
  int Depth() const;
};

// Finds the format that the parameters say, with the defaults where they say none. Fails
// with -9 for a colour space or a number of components that isn't supported; `at` is the
// place to name.
Outcome FindSampleFormat(const ImageParameters& parameters, int64_t at, SampleFormat& format);

// The value from 0 to 255 of each code of a sample of so many bits; of more than 8 bits
// the upper 8 are the code.
using SampleTable = std::array<unsigned char, 256>;
SampleTable TableOf(const SampleFormat& format, int bits);

// Makes pixels of luma and chroma (ITU-R BT.601, full range) red, green and blue, in place.
void ConvertLumaChroma(unsigned char* pixels, int count, bool crFirst);

}  // namespace kz
