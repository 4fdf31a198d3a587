// The fields of a document of image pages ("Structured fields" of docs/format.md).
#include "Format/PageFields.h"

#include <initializer_list>

#include "Format/SelfDefiningField.h"
#include "Format/Triplet.h"

namespace kz {

namespace {

// Page measures are in units of 1/1440 inch, ten inches being the base.
constexpr double kUnitsPerInch = 1440.0;
constexpr uint16_t kUnitsPerBase = 14400;

using SmallFieldBuilder = BasicFieldBuilder<SmallField>;

SmallField EmptyField(uint16_t code) { return SmallFieldBuilder(code).Finish(); }

// A side of the page in units. Three bytes stand for it in the file, of which the
// first is always 0.
uint32_t PageUnits(int pixels, int resolution) {
  return static_cast<uint32_t>(static_cast<int64_t>(pixels * kUnitsPerInch / resolution));
}

// The unit bases, X and Y, and the units in them.
void PutUnits(SmallFieldBuilder& field) {
  field.Put8(kBaseTenInches).Put8(kBaseTenInches).Put16(kUnitsPerBase).Put16(kUnitsPerBase);
}

void PutSize(SmallFieldBuilder& field, const PageImage& image) {
  field.Put8(0).Put16(PageUnits(image.width, image.xResolution));
  field.Put8(0).Put16(PageUnits(image.height, image.yResolution));
}

SmallField PageDescriptorField(const PageImage& image) {
  SmallFieldBuilder field(sf::kPageDescriptor);
  PutUnits(field);
  PutSize(field, image);
  return field.Put24(0).Finish();
}

SmallField ObjectAreaDescriptorField(const PageImage& image) {
  SmallFieldBuilder field(sf::kObjectAreaDescriptor);
  field.BeginTriplet(triplet::kDescriptorPosition).Put8(1).EndTriplet();
  field.BeginTriplet(triplet::kMeasurementUnits);
  PutUnits(field);
  field.EndTriplet().BeginTriplet(triplet::kObjectAreaSize).Put8(2);
  PutSize(field, image);
  return field.EndTriplet().Finish();
}

SmallField ObjectAreaPositionField() {
  constexpr uint32_t uprightAxes = 0x00002D00;  // X at 0 degrees, Y at 90
  SmallFieldBuilder field(sf::kObjectAreaPosition);
  field.Put8(1).Put8(23);                      // position 1, a group of 23 bytes
  field.Put24(0).Put24(0).Put32(uprightAxes);  // origin and axes of the area
  field.Put8(0);                               // reserved
  field.Put24(0).Put24(0).Put32(uprightAxes);  // origin and axes of the content
  return field.Put8(1).Finish();               // the page's coordinate system
}

void PutField(SmallField& fields, uint16_t id, ByteSpan parameters) {
  unsigned char header[kMaxSelfDefiningHeader];
  const auto length = static_cast<uint16_t>(parameters.size());
  const unsigned count = PutSelfDefiningHeader(header, {id, length});
  for (const unsigned char byte : ByteSpan(header, count)) fields.push_back(byte);
  for (const unsigned char byte : parameters) fields.push_back(byte);
}

void PutField(SmallField& fields, uint16_t id, std::initializer_list<unsigned char> parameters) {
  PutField(fields, id, ByteSpan(parameters.begin(), parameters.size()));
}

}  // namespace

SmallField BeginDocumentField() {
  SmallFieldBuilder field(sf::kBeginDocument);
  field.PutName("").Put16(0);
  // Character set 697, code page 500.
  field.BeginTriplet(triplet::kCharacterSet).Put16(697).Put16(500).EndTriplet();
  // Presentation interchange set.
  field.BeginTriplet(triplet::kInterchangeSet).Put8(1).Put16(0x0C00).EndTriplet();
  field.BeginTriplet(triplet::kQualifiedName).Put16(0x0100);
  return field.PutText("B001116.B25632.M291091D.FODM01.").EndTriplet().Finish();
}

SmallField EndDocumentField() {
  return SmallFieldBuilder(sf::kEndDocument).Put32(0).Put32(0).Finish();
}

unsigned TrailingEndDocument(ByteSpan bytes) {
  for (const unsigned length : {kEndDocumentLength, kIntroducerLength}) {
    if (length > bytes.size()) continue;
    const Introducer field = ParseIntroducer(bytes.last(length));
    if (field.length == length && field.classCode == kFieldClass &&
        field.code == sf::kEndDocument) {
      return length;
    }
  }
  return 0;
}

SmallField ImageDataDescriptorField(const PageImage& image) {
  SmallFieldBuilder field(sf::kImageDataDescriptor);
  field.Put8(kBaseTenInches);
  field.Put16(static_cast<uint32_t>(image.xResolution) * 10);
  field.Put16(static_cast<uint32_t>(image.yResolution) * 10);
  field.Put16(static_cast<uint32_t>(image.width));
  field.Put16(static_cast<uint32_t>(image.height));
  if (image.functionSet != 0) {
    constexpr uint32_t category = 1;  // function sets
    field.Put8(sdf::kFunctionSet).Put8(2).Put8(category).Put8(image.functionSet);
  }
  return field.Finish();
}

std::array<SmallField, 10> PageStartFields(const PageImage& image) {
  return {EmptyField(sf::kBeginPage),        EmptyField(sf::kBeginActiveEnvironment),
          PageDescriptorField(image),        EmptyField(sf::kEndActiveEnvironment),
          EmptyField(sf::kBeginImageObject), EmptyField(sf::kBeginObjectEnvironment),
          ObjectAreaDescriptorField(image),  ObjectAreaPositionField(),
          ImageDataDescriptorField(image),   EmptyField(sf::kEndObjectEnvironment)};
}

std::array<SmallField, 2> PageEndFields() {
  return {EmptyField(sf::kEndImageObject), EmptyField(sf::kEndPage)};
}

SmallField SegmentStart(const SegmentImage& image) {
  SmallField fields;
  PutField(fields, sdf::kBeginSegment, {});
  PutField(fields, sdf::kBeginImageContent, {0xFF});
  const auto [width, height, xResolution, yResolution, functionSet] = image.page;
  unsigned char size[9] = {kBaseTenInches};
  PutBig16(size + 1, static_cast<unsigned>(xResolution) * 10);
  PutBig16(size + 3, static_cast<unsigned>(yResolution) * 10);
  PutBig16(size + 5, static_cast<unsigned>(width));
  PutBig16(size + 7, static_cast<unsigned>(height));
  PutField(fields, sdf::kImageSize, size);
  PutField(fields, sdf::kImageEncoding, {image.compression, kRecordingRidic});
  const auto bits = static_cast<unsigned char>(image.bitsPerPixel);
  PutField(fields, sdf::kIdeSize, {bits});
  if (functionSet != kFunctionSet11) return fields;
  // Grey is the Y of YCbCr. JPEG data of three components are marked as RGB, too: what
  // the decoder makes of them is that.
  if (image.bitsPerPixel == 24) {
    PutField(fields, sdf::kIdeStructure, {0, kRgbSpace, 0, 0, 0, 8, 8, 8});
  } else {
    PutField(fields, sdf::kIdeStructure, {0, kYCbCrSpace, 0, 0, 0, bits});
  }
  return fields;
}

SmallField SegmentEnd() {
  SmallField fields;
  PutField(fields, sdf::kEndImageContent, {});
  PutField(fields, sdf::kEndSegment, {});
  return fields;
}

}  // namespace kz
