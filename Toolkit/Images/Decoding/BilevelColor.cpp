#include "Toolkit/Images/Decoding/BilevelColor.h"

#include <lcms2.h>

#include <algorithm>
#include <new>

#include "Toolkit/Images/Decoding/InkConversion.h"
#include "Toolkit/Images/Decoding/SampleFormat.h"

namespace kz {

namespace {

struct NamedRow {
  uint16_t value;
  RgbColor color;
};

// MO:DCA, "Standard OCA Color Value Table". 0xFF01 to 0xFF06 are 1 to 6.
constexpr NamedRow kNamedColors[] = {
    {0x0001, {0, 0, 255}},      // blue
    {0x0002, {255, 0, 0}},      // red
    {0x0003, {255, 0, 255}},    // pink, magenta
    {0x0004, {0, 255, 0}},      // green
    {0x0005, {0, 255, 255}},    // turquoise, cyan
    {0x0006, {255, 255, 0}},    // yellow
    {0x0007, {255, 255, 255}},  // white
    {0x0008, {0, 0, 0}},        // black
    {0x0009, {0, 0, 170}},      // dark blue
    {0x000A, {255, 128, 0}},    // orange
    {0x000B, {170, 0, 170}},    // purple
    {0x000C, {0, 146, 0}},      // dark green
    {0x000D, {0, 146, 170}},    // dark turquoise
    {0x000E, {196, 160, 32}},   // mustard
    {0x000F, {131, 131, 131}},  // gray
    {0x0010, {144, 48, 0}},     // brown
    {0xFF08, {255, 255, 255}},  // colour of the medium
};

// Components, each in whole bytes; those past the value's end are 0.
struct Components {
  std::array<int, 4> value = {};
  std::array<int, 4> bits = {};
};

Components Unpack(const ColorValue& color) {
  Components components;
  size_t at = 0;
  for (size_t i = 0; i < 4; ++i) {
    const unsigned bits = std::min<unsigned>(color.bits[i], 16);
    unsigned value = 0;
    for (unsigned bytes = (bits + 7) / 8; bytes > 0; --bytes, ++at) {
      value = value << 8 | (at < color.value.size() ? color.value[at] : 0u);
    }
    components.bits[i] = static_cast<int>(bits);
    components.value[i] = static_cast<int>(value & ((1u << bits) - 1));
  }
  return components;
}

// A component from 0 to 255.
unsigned char Scaled(const Components& components, size_t i) {
  const int most = (1 << components.bits[i]) - 1;
  if (most == 0) return 0;
  return static_cast<unsigned char>((components.value[i] * 255 + most / 2) / most);
}

// From -127 to 127, of a signed component.
double Chroma(const Components& components, size_t i) {
  const int bits = components.bits[i];
  if (bits < 2) return 0;
  int value = components.value[i];
  if (value >= 1 << (bits - 1)) value -= 1 << bits;
  return value * 127.0 / ((1 << (bits - 1)) - 1);
}

// CIELAB to sRGB. A file may have many thousand colours: there is one for all of them.
class LabConverter {
 public:
  LabConverter() {
    cmsHPROFILE from = cmsCreateLab4Profile(nullptr);
    cmsHPROFILE to = cmsCreate_sRGBProfile();
    // Several threads use it.
    m_transform =
        cmsCreateTransform(from, TYPE_Lab_DBL, to, TYPE_RGB_8, INTENT_RELATIVE_COLORIMETRIC,
                           cmsFLAGS_NOOPTIMIZE | cmsFLAGS_NOCACHE);
    if (from != nullptr) cmsCloseProfile(from);
    if (to != nullptr) cmsCloseProfile(to);
    // The next colour gets another attempt.
    if (m_transform == nullptr) throw std::bad_alloc();
  }
  ~LabConverter() { cmsDeleteTransform(m_transform); }
  LabConverter(const LabConverter&) = delete;
  LabConverter& operator=(const LabConverter&) = delete;

  RgbColor Convert(const cmsCIELab& lab) const {
    RgbColor color = kBlack;
    cmsDoTransform(m_transform, &lab, color.data(), 1);
    return color;
  }

 private:
  cmsHTRANSFORM m_transform = nullptr;
};

RgbColor FromLab(const Components& components) {
  static const LabConverter converter;
  return converter.Convert(
      {Scaled(components, 0) / 2.55, Chroma(components, 1), Chroma(components, 2)});
}

// The colour covers so many percent of the paper.
RgbColor FromHighlight(const Components& components) {
  RgbColor color = NamedColor(static_cast<uint16_t>(components.value[0]));
  const int coverage = components.bits[1] == 0 ? 100 : std::min(components.value[1], 100);
  for (unsigned char& part : color) {
    part = static_cast<unsigned char>((part * coverage + 255 * (100 - coverage)) / 100);
  }
  return color;
}

}  // namespace

RgbColor NamedColor(uint16_t value) {
  if (value >= 0xFF01 && value <= 0xFF06) value = static_cast<uint16_t>(value - 0xFF00);
  const auto* row = std::find_if(std::begin(kNamedColors), std::end(kNamedColors),
                                 [value](const NamedRow& named) { return named.value == value; });
  return row != std::end(kNamedColors) ? row->color : kBlack;
}

RgbColor ColorOf(const ColorValue& color) {
  const Components components = Unpack(color);
  switch (color.space) {
    case colorspace::kRgb:
      return {Scaled(components, 0), Scaled(components, 1), Scaled(components, 2)};
    case colorspace::kCmyk: {
      const unsigned char inks[4] = {Scaled(components, 0), Scaled(components, 1),
                                     Scaled(components, 2), Scaled(components, 3)};
      RgbColor converted = kBlack;
      InkConverter({}).Convert(inks, 1, converted.data());
      return converted;
    }
    case colorspace::kHighlight:
      return FromHighlight(components);
    case colorspace::kCielab:
      return FromLab(components);
    case colorspace::kNamed:
      return NamedColor(static_cast<uint16_t>(components.value[0]));
    default:
      return kBlack;
  }
}

RgbColor ColorOf(const ImageDescriptor& descriptor) {
  if (descriptor.namedColor) return NamedColor(*descriptor.namedColor);
  return descriptor.color ? ColorOf(*descriptor.color) : kBlack;
}

}  // namespace kz
