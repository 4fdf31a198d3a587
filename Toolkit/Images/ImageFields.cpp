#include "Toolkit/Images/ImageFields.h"

#include <algorithm>

namespace kz {

namespace {

bool ApplySize(ByteSpan field, ImageParameters& parameters) {
  constexpr size_t length = 9;
  if (field.size() < length) return false;
  parameters.unitBase = field[0];
  parameters.xUnits = GetBig16(field.data() + 1);
  parameters.yUnits = GetBig16(field.data() + 3);
  parameters.width = GetBig16(field.data() + 5);
  parameters.height = GetBig16(field.data() + 7);
  return true;
}

bool ApplyEncoding(ByteSpan field, ImageParameters& parameters) {
  if (field.size() < 2) return false;
  parameters.compression = field[0];
  parameters.recording = field[1] == kRecordingExternal ? kRecordingRidic : field[1];
  parameters.lowestBitFirst = field.size() > 2 && field[2] == 1;
  return true;
}

bool ApplyBands(ByteSpan field, ImageParameters& parameters) {
  if (field.empty() || field[0] > kMaxComponents || field.size() - 1 < field[0]) return false;
  parameters.bandBits.assign(field.begin() + 1, field.begin() + 1 + field[0]);
  return true;
}

bool ApplyStructure(ByteSpan field, ImageParameters& parameters) {
  constexpr size_t sizesOffset = 5;
  constexpr unsigned char subtractive = 0x80;
  constexpr unsigned char grayCode = 0x40;
  if (field.size() < 2) return false;
  parameters.subtractive = (field[0] & subtractive) != 0;
  parameters.grayCode = (field[0] & grayCode) != 0;
  parameters.colorSpace = field[1];
  const ByteSpan sizes = field.subspan(std::min(field.size(), sizesOffset));
  if (sizes.size() > kMaxComponents) return false;
  parameters.componentBits.assign(sizes.begin(), sizes.end());
  return true;
}

}  // namespace

Applied ApplyField(unsigned id, ByteSpan field, ImageParameters& parameters) {
  const auto applied = [](bool done) { return done ? Applied::Done : Applied::Damaged; };
  switch (id) {
    case sdf::kImageSize:
      return applied(ApplySize(field, parameters));
    case sdf::kImageEncoding:
      return applied(ApplyEncoding(field, parameters));
    case sdf::kIdeSize:
      if (!field.empty()) parameters.bitsPerPixel = field[0];
      return applied(!field.empty());
    case sdf::kBandImage:
      return applied(ApplyBands(field, parameters));
    case sdf::kIdeStructure:
      return applied(ApplyStructure(field, parameters));
    default:
      return Applied::OtherField;
  }
}

std::optional<ColorValue> ColorOf(uint8_t space, ByteSpan sizes) {
  ColorValue color;
  if (sizes.size() < color.bits.size()) return std::nullopt;
  color.space = space;
  std::copy_n(sizes.begin(), color.bits.size(), color.bits.begin());
  const ByteSpan value = sizes.subspan(color.bits.size());
  std::copy_n(value.begin(), std::min(value.size(), color.value.size()), color.value.begin());
  return color;
}

}  // namespace kz
