#include "Toolkit/Images/Decoding/SampleFormat.h"

#include <algorithm>
#include <numeric>
#include <string>

namespace kz {

namespace {

int Sum(const std::vector<uint8_t>& bits) { return std::accumulate(bits.begin(), bits.end(), 0); }

std::vector<uint8_t> WithoutZeros(std::vector<uint8_t> bits) {
  bits.erase(std::remove(bits.begin(), bits.end(), uint8_t{0}), bits.end());
  return bits;
}

// Components that share the bits of a pixel, as their colour space or the number of bits
// has it.
std::vector<uint8_t> ShareBits(int bitsPerPixel, uint8_t space) {
  int components = 1;
  if (space == colorspace::kCmyk || (space == 0 && bitsPerPixel == 32)) {
    components = 4;
  } else if (bitsPerPixel == 24 || (space == colorspace::kRgb && bitsPerPixel % 3 == 0)) {
    components = 3;
  }
  return std::vector<uint8_t>(static_cast<size_t>(components),
                              static_cast<uint8_t>(std::min(bitsPerPixel / components, 255)));
}

// Some producers have a wrong IDE Structure field: where the IDE Size field says another
// sum, that is the one. A size of 1 may only be the default.
std::vector<uint8_t> ComponentsOf(const ImageParameters& parameters) {
  if (parameters.bandBits.size() > 1) {
    std::vector<uint8_t> bits = parameters.bandBits;
    for (size_t i = 0; i < bits.size(); ++i) {
      const bool said = i < parameters.componentBits.size();
      if (said && bits[i] == 0) bits[i] = parameters.componentBits[i];
    }
    return bits;
  }
  std::vector<uint8_t> bits = WithoutZeros(parameters.componentBits);
  const int sum = Sum(bits);
  if (bits.empty() || (sum != parameters.bitsPerPixel && parameters.bitsPerPixel > 1)) {
    bits = ShareBits(parameters.bitsPerPixel, parameters.colorSpace);
  }
  return bits;
}

bool FindModel(uint8_t space, const std::vector<uint8_t>& bits, ColorModel& model) {
  switch (bits.size()) {
    case 1:
      model = bits[0] == 1 ? ColorModel::Bilevel : ColorModel::Gray;
      return true;
    case 3:
      model = space == colorspace::kYCbCr   ? ColorModel::YCbCr
              : space == colorspace::kYCrCb ? ColorModel::YCrCb
                                            : ColorModel::Rgb;
      return true;
    case 4:
      model = ColorModel::Cmyk;
      return true;
    default:
      return false;
  }
}

}  // namespace

int SampleFormat::PixelBits() const { return Sum(bits); }

int SampleFormat::Depth() const {
  switch (model) {
    case ColorModel::Bilevel:
      return 1;
    case ColorModel::Gray:
      return 8;
    case ColorModel::Rgb:
    case ColorModel::YCbCr:
    case ColorModel::YCrCb:
      return 24;
    case ColorModel::Cmyk:
      return 32;
  }
  return 0;
}

Outcome FindSampleFormat(const ImageParameters& parameters, int64_t at, SampleFormat& format) {
  const std::string place = " at byte " + std::to_string(at) + " is not supported";
  if ((parameters.colorSpace & colorspace::kInksMask) != 0) {
    return Failure(K_ERROR_INVALID_FORMAT, "the colour space of " +
                                               std::to_string(parameters.colorSpace & 0x0F) +
                                               " named inks" + place);
  }
  format.bits = ComponentsOf(parameters);
  const bool sane = std::all_of(format.bits.begin(), format.bits.end(),
                                [](uint8_t bits) { return bits >= 1 && bits <= 16; });
  if (!sane || !FindModel(parameters.colorSpace, format.bits, format.model)) {
    std::string bits;
    for (const uint8_t n : format.bits) bits += (bits.empty() ? "" : " + ") + std::to_string(n);
    return Failure(K_ERROR_INVALID_FORMAT, "a pixel of " + bits + " bits" + place);
  }
  const bool bilevel = format.model == ColorModel::Bilevel;
  format.subtractive = parameters.subtractive && !bilevel;
  format.grayCode = parameters.grayCode && !bilevel;
  return {};
}

SampleTable TableOf(const SampleFormat& format, int bits) {
  SampleTable table = {};
  const unsigned most = (1u << std::min(bits, 8)) - 1;
  for (unsigned code = 0; code <= most; ++code) {
    unsigned value = code;
    if (format.grayCode) {
      for (unsigned shifted = code >> 1; shifted != 0; shifted >>= 1) value ^= shifted;
    }
    value = (value * 255 + most / 2) / most;
    table[code] = static_cast<unsigned char>(format.subtractive ? 255 - value : value);
  }
  return table;
}

void ConvertLumaChroma(unsigned char* pixels, int count, bool crFirst) {
  // Coefficients times 65536, rounded as a half is added.
  constexpr int kHalf = 1 << 15;
  const auto clamp = [](int value) {
    return static_cast<unsigned char>(std::clamp(value, 0, 255));
  };
  for (unsigned char* pixel = pixels; count > 0; --count, pixel += 3) {
    const int y = pixel[0];
    const int cb = pixel[crFirst ? 2 : 1] - 128;
    const int cr = pixel[crFirst ? 1 : 2] - 128;
    pixel[0] = clamp(y + ((91881 * cr + kHalf) >> 16));
    pixel[1] = clamp(y + ((-22554 * cb - 46802 * cr + kHalf) >> 16));
    pixel[2] = clamp(y + ((116130 * cb + kHalf) >> 16));
  }
}

}  // namespace kz
