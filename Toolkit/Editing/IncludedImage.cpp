#include "Toolkit/Editing/IncludedImage.h"

#include <string>

#include "Format/FieldBuilder.h"
#include "Format/Triplet.h"

namespace kz {

namespace {

// Offsets in the data of an Include Object field.
constexpr size_t kObjectType = 9;
constexpr size_t kAreaOrigin = 10;     // X and Y, three bytes each
constexpr size_t kAreaRotation = 16;   // X and Y, two bytes each
constexpr size_t kContentOrigin = 20;  // X and Y, three bytes each
constexpr size_t kReferenceSystem = 26;
constexpr size_t kTriplets = TripletsOffset(sf::kIncludeObject);
constexpr char kTypeIoca = '\xFB';

// Offsets in the data of an Object Area Position field.
constexpr size_t kPositionAreaOrigin = 2;
constexpr size_t kPositionAreaRotation = 8;
constexpr size_t kPositionContentOrigin = 13;
constexpr size_t kPositionReferenceSystem = 23;

// The sequence with the triplet in the place of the one of the same identifier.
std::string ReplaceTriplet(std::string_view triplets, const Triplet& triplet) {
  const Triplet old = FindTriplet(triplets, triplet.id);
  std::string result(triplets);
  if (old.whole.empty()) return result.append(triplet.whole);
  return result.replace(static_cast<size_t>(old.whole.data() - triplets.data()), old.whole.size(),
                        triplet.whole);
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
  for (const uint8_t id : {triplet::kMeasurementUnits, triplet::kObjectAreaSize}) {
    const Triplet triplet = FindTriplet(triplets, id);
    if (!triplet.whole.empty()) descriptor = ReplaceTriplet(descriptor, triplet);
  }
  return descriptor;
}

}  // namespace

std::string_view IncludedImageName(std::string_view include) {
  if (include.size() < kTriplets || include[kObjectType] != kTypeIoca) return {};
  return include.substr(0, kFieldNameLength);
}

Outcome AddIncludedImage(PieceList& pieces, int source, ByteRange image, std::string_view include,
                         PieceForm form, bool prefixed) {
  FileWindow& file = pieces.File(source);
  const std::string_view triplets = include.substr(kTriplets);
  const std::string_view mapping = FindTriplet(triplets, triplet::kMappingOption).whole;
  Outcome outcome;
  int64_t copied = image.begin;
  const auto leaveOut = [&](const ScannedField& field) {
    pieces.Add(source, {copied, field.offset}, form);
    copied = field.End();
  };
  const auto add = [&](uint16_t code, FieldBuilder& builder) {
    std::string field = builder.Finish();
    if (field.empty()) {
      outcome = Failure(K_ERROR_INVALID_FORMAT,
                        FieldWords(code) + " would be longer than a structured field can be");
    }
    pieces.Add(std::move(field));
  };
  for (int64_t at = image.begin; at < image.end && outcome.Ok();) {
    const ScannedField field = ScanField(file, at);
    const uint16_t code = field.code;
    if (field.fault != FieldFault::None || code == sf::kImagePictureData) break;
    if (code == sf::kObjectAreaDescriptor) {
      leaveOut(field);
      FieldBuilder built(code, prefixed);
      add(code, built.PutBytes(SizedDescriptor(FieldData(file, field), triplets)));
    } else if (code == sf::kObjectAreaPosition) {
      leaveOut(field);
      FieldBuilder built(code, prefixed);
      add(code, built.PutBytes(PlacedPosition(FieldData(file, field), include)));
      // What the page says of the mapping takes the place of what the object says.
      FieldBuilder map(sf::kMapImageObject, prefixed);
      map.BeginGroup().PutBytes(mapping).EndGroup();
      if (!mapping.empty()) add(sf::kMapImageObject, map);
    } else if (code == sf::kMapImageObject && !mapping.empty()) {
      leaveOut(field);
    }
    at = field.End();
    if (code == sf::kEndObjectEnvironment) break;
  }
  pieces.Add(source, {copied, image.end}, form);
  return outcome;
}

}  // namespace kz
