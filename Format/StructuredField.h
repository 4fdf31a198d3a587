// Structured fields: their codes, what they are called, and the introducer that each
// begins with ("Structured fields" of docs/format.md).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "Format/BigEndian.h"
#include "Format/Container.h"

namespace kz {

// Bytes of an introducer without extension.
constexpr unsigned kIntroducerLength = 8;
// An introducer with its 0x5A and the length byte of its extension: as much as
// ParseField may want to see.
constexpr unsigned kIntroducerRoom = 1 + kIntroducerLength + 1;
// Lengths are signed 16-bit numbers.
constexpr unsigned kMaxFieldLength = 0x7FFF;
// Bytes of the name that Begin, End and Include fields say first.
constexpr unsigned kFieldNameLength = 8;

constexpr unsigned char kFlagExtension = 0x80;
constexpr unsigned char kFlagSegmented = 0x20;
constexpr unsigned char kFlagPadded = 0x08;

// Codes: type and category, type in the high byte. Those that code asks for; the table
// knows more.
namespace sf {
constexpr uint16_t kCodePageIndex = 0x8C87;
constexpr uint16_t kCodedFontIndex = 0x8C8A;
constexpr uint16_t kTagLogicalElement = 0xA090;
constexpr uint16_t kObjectAreaDescriptor = 0xA66B;
constexpr uint16_t kImInputDescriptor = 0xA67B;
constexpr uint16_t kCodePageDescriptor = 0xA687;
constexpr uint16_t kContainerDataDescriptor = 0xA692;
constexpr uint16_t kPageDescriptor = 0xA6AF;
constexpr uint16_t kImageDataDescriptor = 0xA6FB;
constexpr uint16_t kImOutputControl = 0xA77B;
constexpr uint16_t kCodePageControl = 0xA787;
constexpr uint16_t kBeginPageSegment = 0xA85F;
constexpr uint16_t kBeginImImage = 0xA87B;
constexpr uint16_t kBeginCodePage = 0xA887;
constexpr uint16_t kBeginCodedFont = 0xA88A;
constexpr uint16_t kBeginObjectContainer = 0xA892;
constexpr uint16_t kBeginText = 0xA89B;
constexpr uint16_t kBeginGraphics = 0xA8BB;
constexpr uint16_t kBeginResourceGroup = 0xA8C6;
constexpr uint16_t kBeginObjectEnvironment = 0xA8C7;
constexpr uint16_t kBeginActiveEnvironment = 0xA8C9;
constexpr uint16_t kBeginResource = 0xA8CE;
constexpr uint16_t kBeginDocument = 0xA8A8;
constexpr uint16_t kBeginPageGroup = 0xA8AD;
constexpr uint16_t kBeginPage = 0xA8AF;
constexpr uint16_t kBeginFormMap = 0xA8CD;
constexpr uint16_t kBeginOverlay = 0xA8DF;
constexpr uint16_t kBeginBarCode = 0xA8EB;
constexpr uint16_t kBeginImageObject = 0xA8FB;
constexpr uint16_t kEndText = 0xA99B;
constexpr uint16_t kEndResourceGroup = 0xA9C6;
constexpr uint16_t kEndObjectEnvironment = 0xA9C7;
constexpr uint16_t kEndActiveEnvironment = 0xA9C9;
constexpr uint16_t kEndResource = 0xA9CE;
constexpr uint16_t kEndDocument = 0xA9A8;
constexpr uint16_t kEndPageGroup = 0xA9AD;
constexpr uint16_t kEndPage = 0xA9AF;
constexpr uint16_t kEndImageObject = 0xA9FB;
constexpr uint16_t kMapCodedFont = 0xAB8A;
constexpr uint16_t kMapContainerData = 0xAB92;
constexpr uint16_t kMapDataResource = 0xABC3;
constexpr uint16_t kMapImageObject = 0xABFB;
constexpr uint16_t kObjectAreaPosition = 0xAC6B;
constexpr uint16_t kImCellPosition = 0xAC7B;
constexpr uint16_t kIncludePageSegment = 0xAF5F;
constexpr uint16_t kIncludeObject = 0xAFC3;
constexpr uint16_t kIncludePageOverlay = 0xAFD8;
constexpr uint16_t kMapCodedFontFormat1 = 0xB18A;
constexpr uint16_t kTextDescriptor = 0xB19B;
constexpr uint16_t kMapMediumOverlay = 0xB1DF;
constexpr uint16_t kImRasterData = 0xEE7B;
constexpr uint16_t kObjectContainerData = 0xEE92;
constexpr uint16_t kPresentationText = 0xEE9B;
constexpr uint16_t kGraphicsData = 0xEEBB;
constexpr uint16_t kBarCodeData = 0xEEEB;
constexpr uint16_t kNoOperation = 0xEEEE;
constexpr uint16_t kImagePictureData = 0xEEFB;
}  // namespace sf

// What the type of a code says the field does, whatever its category.
enum class FieldType : uint8_t {
  Index = 0x8C,
  Attribute = 0xA0,
  CopyCount = 0xA2,
  Descriptor = 0xA6,
  Control = 0xA7,
  Begin = 0xA8,
  End = 0xA9,
  Map = 0xAB,
  Position = 0xAC,
  Process = 0xAD,
  Include = 0xAF,
  Table = 0xB0,
  Migration = 0xB1,
  Variable = 0xB2,
  Link = 0xB4,
  Data = 0xEE,
};

constexpr FieldType TypeOf(uint16_t code) { return static_cast<FieldType>(code >> 8); }

// The End field of a Begin field and the other way round; 0 for other fields.
constexpr uint16_t PartnerOf(uint16_t code) {
  const FieldType type = TypeOf(code);
  return type == FieldType::Begin || type == FieldType::End ? static_cast<uint16_t>(code ^ 0x0100)
                                                            : uint16_t{0};
}

// Whether the field's data begin with a name.
constexpr bool CarriesName(uint16_t code) {
  const FieldType type = TypeOf(code);
  return type == FieldType::Begin || type == FieldType::End || type == FieldType::Include;
}

// Where the triplets begin in the data of a Begin or End field, an Include Object, or
// a field that is nothing but triplets.
constexpr unsigned TripletsOffset(uint16_t code) {
  constexpr unsigned includeObject = 27;
  switch (code) {
    case sf::kBeginDocument:
    case sf::kBeginResource:
      return kFieldNameLength + 2;
    case sf::kIncludeObject:
      return includeObject;
    default:
      return CarriesName(code) ? kFieldNameLength : 0;
  }
}

// A row of the table of structured fields.
struct StructuredFieldRow {
  uint16_t code;
  const char* acronym;
  const char* words;
  bool namesResource = false;  // names something that the document may bring along
};

// The row of a field; null for a field that isn't in common use.
const StructuredFieldRow* FindStructuredField(uint16_t code);

// Whether a field names something that the document may bring along: Include
// fields, and Map fields but for the mapping options of objects.
bool RefersToResource(uint16_t code);

// A field in a message: "Begin Page (BPG)", "field D3A8EE".
std::string FieldWords(uint16_t code);

// What is wrong with a field, in the order in which it is looked at.
enum class FieldFault {
  None,
  Cut,        // the bytes end within the introducer
  Class,      // the class code is not D3
  Length,     // below 8 or above 32767
  Extension,  // its length is 0 or more than the field has
  CutData,    // the bytes end within the field's data: only who knows where they end says so
};

// What stands before a fault is filled in.
struct Introducer {
  bool prefixed = false;  // has a 0x5A
  unsigned length = 0;    // of the field, introducer and extension included
  unsigned classCode = 0;
  uint16_t code = 0;
  unsigned flags = 0;
  unsigned extension = 0;  // its length, the length byte included
  FieldFault fault = FieldFault::Cut;

  // Bytes before the data, from the 0x5A on.
  constexpr unsigned HeadLength() const {
    return (prefixed ? 1 : 0) + kIntroducerLength + extension;
  }
  constexpr unsigned DataLength() const { return length - kIntroducerLength - extension; }
};

// Parses an introducer from its length bytes on. With exactly eight bytes it is cut
// only when there is an extension, whose length is the next byte.
constexpr Introducer ParseIntroducer(ByteSpan bytes) {
  Introducer field;
  if (bytes.size() < kIntroducerLength) return field;
  field.length = GetBig16(bytes.data());
  field.classCode = bytes[2];
  field.code = GetBig16(bytes.data() + 3);
  field.flags = bytes[5];
  if (field.classCode != kFieldClass) {
    field.fault = FieldFault::Class;
  } else if (field.length < kIntroducerLength || field.length > kMaxFieldLength) {
    field.fault = FieldFault::Length;
  } else if ((field.flags & kFlagExtension) == 0) {
    field.fault = FieldFault::None;
  } else if (bytes.size() > kIntroducerLength) {
    const unsigned extension = bytes[kIntroducerLength];
    const bool fits = extension > 0 && extension + kIntroducerLength <= field.length;
    if (fits) field.extension = extension;
    field.fault = fits ? FieldFault::None : FieldFault::Extension;
  }
  return field;
}

// The same where a 0x5A may stand before it: a first byte 0x5A always is that.
constexpr Introducer ParseField(ByteSpan bytes) {
  const bool prefixed = !bytes.empty() && bytes[0] == kCarriageControl;
  Introducer field = ParseIntroducer(prefixed ? bytes.subspan(1) : bytes);
  field.prefixed = prefixed;
  return field;
}

// Stores the eight bytes of an introducer. `length` is the caller's to check.
constexpr void PutIntroducer(unsigned char* bytes, unsigned length, uint16_t code) {
  PutBig16(bytes, length);
  bytes[2] = kFieldClass;
  PutBig16(bytes + 3, code);
  bytes[5] = bytes[6] = bytes[7] = 0;
}

}  // namespace kz
