#include "Toolkit/Editing/IncludedImage.h"

#include <string>

#include "Format/BigEndian.h"

namespace kz {

namespace {

constexpr uint16_t kMapImageObject = 0xABFB;

// Offsets in the data of an Include Object field.
constexpr size_t kObjectType = 9;
constexpr size_t kAreaOrigin = 10;     // X and Y, three bytes each
constexpr size_t kAreaRotation = 16;   // X and Y, two bytes each
constexpr size_t kContentOrigin = 20;  // X and Y, three bytes each
constexpr size_t kReferenceSystem = 26;
constexpr size_t kTriplets = 27;
constexpr char kTypeIoca = '\xFB';

// Offsets in the data of an Object Area Position field.
constexpr size_t kPositionAreaOrigin = 2;
constexpr size_t kPositionAreaRotation = 8;
constexpr size_t kPositionContentOrigin = 13;
constexpr size_t kPositionReferenceSystem = 23;

constexpr char kTripletMeasurementUnits = '\x4B';
constexpr char kTripletAreaSize = '\x4C';
constexpr char kTripletMappingOption = '\x04';

// The triplet of the identifier in a sequence of triplets, whole; empty when there
// is none.
std::string_view FindTriplet(std::string_view triplets, char identifier) {
  while (triplets.size() >= 2) {
    const auto length = static_cast<unsigned char>(triplets[0]);
    if (length < 2 || length > triplets.size()) break;
    if (triplets[1] == identifier) return triplets.substr(0, length);
    triplets.remove_prefix(length);
  }
  return {};
}

// The sequence with the triplet in the place of the one of the same identifier.
std::string ReplaceTriplet(std::string_view triplets, std::string_view triplet) {
  const std::string_view old = FindTriplet(triplets, triplet[1]);
  std::string result(triplets);
  if (old.empty()) return result.append(triplet);
  return result.replace(static_cast<size_t>(old.data() - triplets.data()), old.size(), triplet);
}

std::string PlacedPosition(std::string position, std::string_view include) {
  if (position.size() < kObjectAreaPositionLength) return position;
  // All bits on: what the object says stands.
  const auto take = [&](size_t to, size_t from, size_t count) {
    const std::string_view value = include.substr(from, count);
    if (value.find_first_not_of('\xFF') != std::string_view::npos) {
      position.replace(to, count, value);
    }
  };
  for (size_t axis = 0; axis < 2; ++axis) {
    take(kPositionAreaOrigin + 3 * axis, kAreaOrigin + 3 * axis, 3);
    take(kPositionContentOrigin + 3 * axis, kContentOrigin + 3 * axis, 3);
  }
  take(kPositionAreaRotation, kAreaRotation, 4);
  position[kPositionReferenceSystem] = include[kReferenceSystem];
  return position;
}

std::string SizedDescriptor(std::string descriptor, std::string_view triplets) {
  for (const char identifier : {kTripletMeasurementUnits, kTripletAreaSize}) {
    const std::string_view triplet = FindTriplet(triplets, identifier);
    if (!triplet.empty()) descriptor = ReplaceTriplet(descriptor, triplet);
  }
  return descriptor;
}

// A mapping field's data: one repeating group, its length before the triplet.
std::string MappingData(std::string_view triplet) {
  unsigned char length[2];
  PutBig16(length, static_cast<uint32_t>(sizeof(length) + triplet.size()));
  return std::string(reinterpret_cast<const char*>(length), sizeof(length)).append(triplet);
}

}  // namespace

std::string_view IncludedImageName(std::string_view include) {
  if (include.size() < kTriplets || include[kObjectType] != kTypeIoca) return {};
  return include.substr(0, 8);
}

Outcome AddIncludedImage(PieceList& pieces, int source, ByteRange image, std::string_view include,
                         PieceForm form, bool prefixed) {
  FileWindow& file = pieces.File(source);
  const std::string_view triplets = include.substr(kTriplets);
  const std::string_view mapping = FindTriplet(triplets, kTripletMappingOption);
  Outcome outcome;
  int64_t copied = image.begin;
  const auto leaveOut = [&](const ScannedField& field) {
    pieces.Add(source, {copied, field.offset}, form);
    copied = field.End();
  };
  const auto add = [&](uint16_t code, const std::string& data) {
    std::string field;
    if (outcome.Ok()) outcome = MakeField(code, data, prefixed, field);
    pieces.Add(std::move(field));
  };
  for (int64_t at = image.begin; at < image.end && outcome.Ok();) {
    const ScannedField field = ScanField(file, at);
    const uint16_t code = field.code;
    if (field.fault != FieldFault::None || code == sf::kImagePictureData) break;
    if (code == sf::kObjectAreaDescriptor) {
      leaveOut(field);
      add(code, SizedDescriptor(FieldData(file, field), triplets));
    } else if (code == sf::kObjectAreaPosition) {
      leaveOut(field);
      add(code, PlacedPosition(FieldData(file, field), include));
      // What the page says of the mapping takes the place of what the object says.
      if (!mapping.empty()) add(kMapImageObject, MappingData(mapping));
    } else if (code == kMapImageObject && !mapping.empty()) {
      leaveOut(field);
    }
    at = field.End();
    if (code == sf::kEndObjectEnvironment) break;
  }
  pieces.Add(source, {copied, image.end}, form);
  return outcome;
}

}  // namespace kz
