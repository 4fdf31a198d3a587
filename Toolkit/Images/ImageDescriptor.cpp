#include <algorithm>

#include "Format/FieldScan.h"
#include "Toolkit/Images/ImageContent.h"
#include "Toolkit/Images/ImageFields.h"

namespace kz {

namespace {

constexpr size_t kFixedPart = 9;

// The last colour counts, of whichever field.
void TakeColor(unsigned id, ByteSpan field, ImageDescriptor& descriptor) {
  constexpr size_t nameOffset = 2;
  constexpr size_t sizesOffset = 6;
  if (id == sdf::kSetColor && field.size() >= nameOffset + 2) {
    descriptor.namedColor = GetBig16(field.data() + nameOffset);
    descriptor.color.reset();
  } else if (id == sdf::kSetExtendedColor && field.size() >= sizesOffset) {
    const std::optional<ColorValue> color = ColorOf(field[1], field.subspan(sizesOffset));
    if (!color) return;
    descriptor.color = color;
    descriptor.namedColor.reset();
    if (color->space == kStandardOcaSpace) {
      descriptor.namedColor = GetBig16(color->value.data());
      descriptor.color.reset();
    }
  }
}

}  // namespace

ImageDescriptor ReadImageDescriptor(FileWindow& file, const PicturePlace& picture) {
  ImageDescriptor descriptor;
  if (picture.descriptor == 0) return descriptor;
  const ScannedField field = ScanField(file, picture.descriptor);
  if (field.fault != FieldFault::None || field.code != sf::kImageDataDescriptor) return descriptor;
  const unsigned padding = PaddingOf(file, field);
  const ByteSpan data = DataOf(file, field);
  if (data.size() < kFixedPart + padding) return descriptor;
  descriptor.unitBase = data[0];
  descriptor.xUnits = GetBig16(data.data() + 1);
  descriptor.yUnits = GetBig16(data.data() + 3);
  descriptor.width = GetBig16(data.data() + 5);
  descriptor.height = GetBig16(data.data() + 7);
  ByteSpan rest = data.first(data.size() - padding).subspan(kFixedPart);
  while (const auto header = ParseSelfDefiningHeader(rest)) {
    rest = rest.subspan(header->HeaderLength());
    if (header->length > rest.size()) break;
    TakeColor(header->id, rest.first(header->length), descriptor);
    rest = rest.subspan(header->length);
  }
  return descriptor;
}

bool CutSize(const ImageDescriptor& descriptor, int& width, int& height) {
  if (descriptor.width <= 0 || descriptor.height <= 0) return false;
  if (width <= descriptor.width && height <= descriptor.height) return false;
  width = std::min(width, descriptor.width);
  height = std::min(height, descriptor.height);
  return true;
}

}  // namespace kz
