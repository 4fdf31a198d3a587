// Self-defining fields, of which an image segment consists ("The image segment" of
// docs/format.md).
#pragma once

#include <cstdint>
#include <limits>
#include <optional>

#include "Format/BigEndian.h"

namespace kz {

// Identifiers: 0x00nn for those of one byte, 0xFEnn for the extended ones.
namespace sdf {
constexpr uint16_t kBeginSegment = 0x0070;
constexpr uint16_t kEndSegment = 0x0071;
constexpr uint16_t kBeginTile = 0x008C;
constexpr uint16_t kEndTile = 0x008D;
constexpr uint16_t kBeginMask = 0x008E;
constexpr uint16_t kEndMask = 0x008F;
constexpr uint16_t kBeginImageContent = 0x0091;
constexpr uint16_t kEndImageContent = 0x0093;
constexpr uint16_t kImageSize = 0x0094;
constexpr uint16_t kImageEncoding = 0x0095;
constexpr uint16_t kIdeSize = 0x0096;
constexpr uint16_t kImageLutId = 0x0097;
constexpr uint16_t kBandImage = 0x0098;
constexpr uint16_t kIdeStructure = 0x009B;
constexpr uint16_t kExternalAlgorithm = 0x009F;
constexpr uint16_t kTilePosition = 0x00B5;
constexpr uint16_t kTileSize = 0x00B6;
constexpr uint16_t kTileSetColor = 0x00B7;
constexpr uint16_t kSetExtendedColor = 0x00F4;
constexpr uint16_t kSetColor = 0x00F6;
constexpr uint16_t kFunctionSet = 0x00F7;
constexpr uint16_t kImageData = 0xFE92;
constexpr uint16_t kBandImageData = 0xFE9C;
constexpr uint16_t kColorNames = 0xFEB3;
constexpr uint16_t kIncludeTile = 0xFEB8;
constexpr uint16_t kTileToc = 0xFEBB;
constexpr uint16_t kImageSubsampling = 0xFECE;
}  // namespace sdf

// First byte of an extended identifier.
constexpr unsigned char kExtendedField = 0xFE;
// An Image Subsampling field whose identifier and length were written in little-endian
// order begins with this and kExtendedField.
constexpr unsigned char kSwappedSubsampling = 0xCE;

// Values of the Image Size and Image Encoding fields.
constexpr unsigned char kBaseTenInches = 0x00;
constexpr unsigned char kBaseTenCentimetres = 0x01;
constexpr unsigned char kBaseLogical = 0x02;
constexpr unsigned char kRecordingRidic = 0x01;
constexpr unsigned char kRecordingBottomToTop = 0x03;
constexpr unsigned char kRecordingUnpaddedRidic = 0x04;
constexpr unsigned char kRecordingExternal = 0xFE;  // as the External Algorithm says: RIDIC
constexpr unsigned char kSolidFill = 0x20;          // compression of a tile without data
// Colour spaces of the IDE Structure field and of colours.
constexpr unsigned char kRgbSpace = 0x01;
constexpr unsigned char kYCrCbSpace = 0x02;
constexpr unsigned char kCmykSpace = 0x04;
constexpr unsigned char kHighlightSpace = 0x06;  // of colours only
constexpr unsigned char kCielabSpace = 0x08;     // of colours only
constexpr unsigned char kYCbCrSpace = 0x12;
constexpr unsigned char kStandardOcaSpace = 0x40;  // of colours only
constexpr unsigned kMaxImageSide = 0x7FFF;

// A value that has a name.
struct NamedValue {
  unsigned value;
  const char* name;
};

// Stands in a list of names for all values that aren't there.
constexpr unsigned kOtherValue = std::numeric_limits<unsigned>::max();

// The name of a value; null when the list has none for it.
const char* FindValueName(std::span<const NamedValue> names, unsigned value);

// What a field's unit base is called: 10 inches, 10 centimetres, logical; null else.
const char* UnitBaseName(unsigned unitBase);

enum class ValueKind : uint8_t {
  Number,
  Named,    // shown by its name
  Hex,      // shown as digits
  Numbers,  // the rest of the field, a number each byte
  Fixed,    // always the same: nobody is shown it
};

// A parameter of a field: a number of one, two or four bytes.
struct SelfDefiningParameter {
  const char* name;  // as a dump has it
  uint8_t offset;    // in the parameters
  uint8_t width;
  ValueKind kind;
  std::span<const NamedValue> names = {};
  // The values that the filter takes.
  uint32_t least = 0;
  uint32_t most = std::numeric_limits<uint32_t>::max();
  // If there are any, only these too.
  std::span<const NamedValue> taken = {};
};

// A set of lengths of up to 15: bit n stands for length n.
using LengthSet = uint16_t;
constexpr LengthSet kAnyLength = 0xFFFF;

// A row of the table of self-defining fields.
struct SelfDefiningFieldRow {
  uint16_t id;
  const char* name;
  LengthSet lengths;  // that the filter takes; none for a field that it refuses
  // Lengths for which the layout holds.
  uint8_t fewest = 0;
  uint8_t most = 255;
  std::span<const SelfDefiningParameter> parameters = {};
};

// The row of a field; null for one that no reference knows.
const SelfDefiningFieldRow* FindSelfDefiningField(unsigned id);

// Whether the filter takes fields of this row that are so long.
bool TakesLength(const SelfDefiningFieldRow& row, unsigned length);
// Whether the filter takes these parameters, as they stand in the file, of a length
// that it takes. What is left out at the end has its default.
bool TakesValues(const SelfDefiningFieldRow& row, ByteSpan parameters);

// Turns the numbers of two and four bytes among `length` bytes of parameters into the
// machine's own, in their places, and back.
void ToNative(const SelfDefiningFieldRow& row, unsigned char* parameters, unsigned length);
void ToFile(const SelfDefiningFieldRow& row, unsigned char* parameters, unsigned length);

constexpr bool IsExtended(unsigned id) { return id >> 8 == kExtendedField; }
// Bytes before the parameters: identifier and length.
constexpr unsigned SelfDefiningHeaderLength(unsigned id) { return IsExtended(id) ? 4 : 2; }
constexpr unsigned kMaxSelfDefiningHeader = 4;

struct SelfDefiningHeader {
  uint16_t id;
  uint16_t length;  // of the parameters
  unsigned HeaderLength() const { return SelfDefiningHeaderLength(id); }
};

// How many bytes are needed to parse the header that begins with this byte.
constexpr unsigned HeaderLengthFrom(unsigned char first) {
  return first == kExtendedField ? kMaxSelfDefiningHeader : 2;
}
// The header that the bytes begin with; none when they end within it.
std::optional<SelfDefiningHeader> ParseSelfDefiningHeader(ByteSpan bytes);
// Image data after Image Data of length 0 have no headers; they go on to the end of the
// Image Picture Data field before the one that ends the content. Whether this is such an
// end: `start` is the field's first bytes, at least five if it has as many.
constexpr bool EndsRawData(ByteSpan start) {
  if (start.size() < 2 || start[0] != sdf::kEndImageContent || start[1] != 0) return false;
  if (start.size() < 4) return start.size() == 2;
  return (start[2] == sdf::kEndSegment && start[3] == 0) ||
         (start[2] == sdf::kBeginImageContent && start[3] == 1);
}
constexpr size_t kRawDataEnd = 5;

// Stores a header of HeaderLength() bytes and returns that. A length of one byte is cut
// off at 255.
unsigned PutSelfDefiningHeader(unsigned char* bytes, const SelfDefiningHeader& header);

}  // namespace kz
