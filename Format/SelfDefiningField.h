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
constexpr uint16_t kBeginImageContent = 0x0091;
constexpr uint16_t kEndImageContent = 0x0093;
constexpr uint16_t kImageSize = 0x0094;
constexpr uint16_t kImageEncoding = 0x0095;
constexpr uint16_t kIdeSize = 0x0096;
constexpr uint16_t kImageLutId = 0x0097;
constexpr uint16_t kIdeStructure = 0x009B;
constexpr uint16_t kImageData = 0xFE92;
}  // namespace sdf

// First byte of an extended identifier.
constexpr unsigned char kExtendedField = 0xFE;

// Values of the Image Size and Image Encoding fields.
constexpr unsigned char kBaseTenInches = 0x00;
constexpr unsigned char kBaseTenCentimetres = 0x01;
constexpr unsigned char kBaseLogical = 0x02;
constexpr unsigned char kRecordingRidic = 0x01;
constexpr unsigned char kRecordingBottomToTop = 0x03;
constexpr unsigned char kRecordingUnpaddedRidic = 0x04;
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
  bool namedOnly = false;
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
// Stores a header of HeaderLength() bytes and returns that. A length of one byte is cut
// off at 255.
unsigned PutSelfDefiningHeader(unsigned char* bytes, const SelfDefiningHeader& header);

}  // namespace kz
