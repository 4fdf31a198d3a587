// The one table of self-defining fields ("The image segment" of docs/format.md).
#include "Format/SelfDefiningField.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>

#include "Format/Compression.h"

namespace kz {

namespace {

// Room for parameters in the filter's record of a field.
constexpr unsigned kRecordRoom = 9;

template <unsigned... kLength>
constexpr LengthSet Lengths() {
  static_assert((... && (kLength <= kRecordRoom)), "the filter can't hold such a field");
  return static_cast<LengthSet>((0u | ... | (1u << kLength)));
}

constexpr NamedValue kUnitBases[] = {
    {kBaseTenInches, "10 inches"},
    {kBaseTenCentimetres, "10 centimetres"},
    {kBaseLogical, "logical"},
};

constexpr NamedValue kRecordings[] = {
    {kRecordingRidic, "RIDIC"},
    {kRecordingBottomToTop, "bottom to top"},
    {kRecordingUnpaddedRidic, "unpadded RIDIC"},
    {kRecordingExternal, "see External Algorithm"},
};

constexpr NamedValue kBitOrders[] = {{1, "first pixel lowest"},
                                     {kOtherValue, "first pixel highest"}};

constexpr NamedValue kColorSpaces[] = {
    {kRgbSpace, "RGB"}, {kYCrCbSpace, "YCrCb"}, {kCmykSpace, "CMYK"}, {kYCbCrSpace, "YCbCr"}};

// Those that the filter takes come first.
constexpr auto kCompressionNames = [] {
  std::array<NamedValue, std::size(kCompressions) + std::size(kOtherCompressions)> names{};
  const auto name = [](const auto& row) { return NamedValue{row.id, row.shortName}; };
  auto* others =
      std::transform(std::begin(kCompressions), std::end(kCompressions), names.data(), name);
  std::transform(std::begin(kOtherCompressions), std::end(kOtherCompressions), others, name);
  return names;
}();

using enum ValueKind;

constexpr SelfDefiningParameter kBeginSegment[] = {{"name", 0, 4, Hex}};
constexpr SelfDefiningParameter kBeginImageContent[] = {
    {.name = "", .offset = 0, .width = 1, .kind = Fixed, .least = 0xFF, .most = 0xFF}};
constexpr SelfDefiningParameter kImageSize[] = {
    {"unitBase", 0, 1, Named, kUnitBases, 0, kBaseLogical},
    {"xUnits", 1, 2, Number},
    {"yUnits", 3, 2, Number},
    {.name = "width", .offset = 5, .width = 2, .kind = Number, .most = kMaxImageSide},
    {.name = "height", .offset = 7, .width = 2, .kind = Number, .most = kMaxImageSide},
};
constexpr SelfDefiningParameter kImageEncoding[] = {
    {.name = "compression",
     .offset = 0,
     .width = 1,
     .kind = Named,
     .names = kCompressionNames,
     .taken = std::span(kCompressionNames).first(std::size(kCompressions))},
    {.name = "recording",
     .offset = 1,
     .width = 1,
     .kind = Named,
     .names = kRecordings,
     .taken = kRecordings},
    {"bitOrder", 2, 1, Named, kBitOrders, 0, 1},
};
constexpr SelfDefiningParameter kIdeSize[] = {{"bitsPerPixel", 0, 1, Number}};
constexpr SelfDefiningParameter kLutId[] = {{"lookUpTable", 0, 1, Number}};
constexpr SelfDefiningParameter kBandImage[] = {
    {"bands", 0, 1, Number},
    {"bits", 1, 1, Numbers},
};
constexpr SelfDefiningParameter kTilePosition[] = {{"x", 0, 4, Number}, {"y", 4, 4, Number}};
constexpr SelfDefiningParameter kTileSize[] = {
    {"width", 0, 4, Number},
    {"height", 4, 4, Number},
    {"relativeResolution", 8, 1, Number},
};
constexpr SelfDefiningParameter kIdeStructure[] = {
    {"flags", 0, 1, Hex},
    {"colorSpace", 1, 1, Named, kColorSpaces},
    {"bits", 5, 1, Numbers},
};

// In ascending order. A segment with a field that has no length can't be read by the
// filter; the last three of one byte belong to the Image Data Descriptor.
constexpr SelfDefiningFieldRow kFields[] = {
    {sdf::kBeginSegment, "Begin Segment", Lengths<0, 4>(), 4, 4, kBeginSegment},
    {sdf::kEndSegment, "End Segment", Lengths<0>()},
    {sdf::kBeginTile, "Begin Tile", 0},
    {sdf::kEndTile, "End Tile", 0},
    {sdf::kBeginMask, "Begin Transparency Mask", 0},
    {sdf::kEndMask, "End Transparency Mask", 0},
    {sdf::kBeginImageContent, "Begin Image Content", Lengths<1>(), 1, 255, kBeginImageContent},
    {sdf::kEndImageContent, "End Image Content", Lengths<0>()},
    {sdf::kImageSize, "Image Size", Lengths<9>(), 9, 255, kImageSize},
    {sdf::kImageEncoding, "Image Encoding", Lengths<2, 3>(), 2, 255, kImageEncoding},
    {sdf::kIdeSize, "IDE Size", Lengths<1>(), 1, 255, kIdeSize},
    {sdf::kImageLutId, "Image LUT-ID", Lengths<1>(), 1, 255, kLutId},
    {sdf::kBandImage, "Band Image", 0, 2, 254, kBandImage},
    {sdf::kIdeStructure, "IDE Structure", Lengths<6, 7, 8>(), 6, 255, kIdeStructure},
    {sdf::kExternalAlgorithm, "External Algorithm Description", 0},
    {sdf::kTilePosition, "Tile Position", 0, 8, 8, kTilePosition},
    {sdf::kTileSize, "Tile Size", 0, 8, 9, kTileSize},
    {sdf::kTileSetColor, "Tile Set Color", 0},
    {sdf::kSetExtendedColor, "Set Extended Bilevel Image Color", 0},
    {sdf::kSetColor, "Set Bilevel Image Color", 0},
    {sdf::kFunctionSet, "IOCA Function Set Identification", 0},
    {sdf::kImageData, "Image Data", kAnyLength},
    {sdf::kBandImageData, "Band Image Data", 0},
    {sdf::kColorNames, "nColor Names", 0},
    {sdf::kIncludeTile, "Include Tile", 0},
    {sdf::kTileToc, "Tile TOC", 0},
    {sdf::kImageSubsampling, "Image Subsampling", 0},
};
static_assert(std::is_sorted(std::begin(kFields), std::end(kFields),
                             [](const auto& a, const auto& b) { return a.id < b.id; }));

bool IsWhole(const SelfDefiningParameter& parameter, unsigned length) {
  return parameter.offset + unsigned{parameter.width} <= length;
}

uint32_t FileNumber(const SelfDefiningParameter& parameter, const unsigned char* parameters) {
  const unsigned char* bytes = parameters + parameter.offset;
  switch (parameter.width) {
    case 1:
      return *bytes;
    case 2:
      return GetBig16(bytes);
    default:
      return GetBig32(bytes);
  }
}

}  // namespace

const char* FindValueName(std::span<const NamedValue> names, unsigned value) {
  const auto row = std::find_if(names.begin(), names.end(), [value](const NamedValue& known) {
    return known.value == value || known.value == kOtherValue;
  });
  return row != names.end() ? row->name : nullptr;
}

const char* UnitBaseName(unsigned unitBase) { return FindValueName(kUnitBases, unitBase); }

const SelfDefiningFieldRow* FindSelfDefiningField(unsigned id) {
  const auto* row =
      std::find_if(std::begin(kFields), std::end(kFields),
                   [id](const SelfDefiningFieldRow& known) { return known.id == id; });
  return row != std::end(kFields) ? row : nullptr;
}

bool TakesLength(const SelfDefiningFieldRow& row, unsigned length) {
  if (row.lengths == kAnyLength) return true;
  return length < std::numeric_limits<LengthSet>::digits && (row.lengths >> length & 1) != 0;
}

bool TakesValues(const SelfDefiningFieldRow& row, ByteSpan parameters) {
  const auto taken = [&](const SelfDefiningParameter& parameter) {
    if (!IsWhole(parameter, static_cast<unsigned>(parameters.size()))) return true;
    const uint32_t value = FileNumber(parameter, parameters.data());
    if (!parameter.taken.empty() && FindValueName(parameter.taken, value) == nullptr) return false;
    return value >= parameter.least && value <= parameter.most;
  };
  return std::all_of(row.parameters.begin(), row.parameters.end(), taken);
}

void ToNative(const SelfDefiningFieldRow& row, unsigned char* parameters, unsigned length) {
  for (const SelfDefiningParameter& parameter : row.parameters) {
    if (!IsWhole(parameter, length)) continue;
    const uint32_t value = FileNumber(parameter, parameters);
    const auto half = static_cast<uint16_t>(value);
    unsigned char* bytes = parameters + parameter.offset;
    if (parameter.width == sizeof(half)) std::memcpy(bytes, &half, sizeof(half));
    if (parameter.width == sizeof(value)) std::memcpy(bytes, &value, sizeof(value));
  }
}

void ToFile(const SelfDefiningFieldRow& row, unsigned char* parameters, unsigned length) {
  for (const SelfDefiningParameter& parameter : row.parameters) {
    if (!IsWhole(parameter, length)) continue;
    uint32_t value;
    uint16_t half;
    unsigned char* bytes = parameters + parameter.offset;
    if (parameter.width == sizeof(half)) {
      std::memcpy(&half, bytes, sizeof(half));
      PutBig16(bytes, half);
    } else if (parameter.width == sizeof(value)) {
      std::memcpy(&value, bytes, sizeof(value));
      PutBig32(bytes, value);
    }
  }
}

std::optional<SelfDefiningHeader> ParseSelfDefiningHeader(ByteSpan bytes) {
  if (bytes.empty() || bytes.size() < HeaderLengthFrom(bytes[0])) return std::nullopt;
  if (bytes[0] != kExtendedField) return SelfDefiningHeader{bytes[0], bytes[1]};
  return SelfDefiningHeader{GetBig16(bytes.data()), GetBig16(bytes.data() + 2)};
}

unsigned PutSelfDefiningHeader(unsigned char* bytes, const SelfDefiningHeader& header) {
  if (IsExtended(header.id)) {
    PutBig16(bytes, header.id);
    PutBig16(bytes + 2, header.length);
  } else {
    bytes[0] = static_cast<unsigned char>(header.id);
    bytes[1] = static_cast<unsigned char>(std::min<unsigned>(header.length, 0xFF));
  }
  return header.HeaderLength();
}

}  // namespace kz
