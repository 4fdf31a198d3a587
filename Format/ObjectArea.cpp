// Object areas ("Object areas" of docs/format.md).
#include "Format/ObjectArea.h"

#include <algorithm>

#include "Format/BigEndian.h"
#include "Format/SelfDefiningField.h"
#include "Format/StructuredField.h"
#include "Format/Triplet.h"

namespace kz {

namespace {

constexpr double kCentimetresPerInch = 2.54;
constexpr size_t kOffset = 3;  // bytes

double PointsOf(std::string_view bytes, size_t base, int64_t units) {
  const bool metric = static_cast<unsigned char>(bytes[base]) == kBaseTenCentimetres;
  return 10 * kPointsPerInch / (metric ? kCentimetresPerInch : 1) / static_cast<double>(units);
}

// Offsets for which an object's own stand have no bit that is 0.
std::optional<int64_t> OffsetUnlessDefault(std::string_view data, size_t at) {
  const int64_t offset = ReadOffset(data, at);
  if (at + kOffset > data.size() || offset == -1) return std::nullopt;
  return offset;
}

template <typename Value>
void TakeIfSaid(const std::optional<Value>& from, std::optional<Value>& to) {
  if (from) to = from;
}

void TakeAreaTriplet(const Triplet& triplet, ObjectArea& area) {
  constexpr size_t width = 1, height = width + kOffset;  // after the kind of size
  const std::string_view contents = triplet.contents;
  UnitSize units;
  if (triplet.id == triplet::kMeasurementUnits && ReadUnitSize(contents, units)) {
    area.units = units;
  } else if (triplet.id == triplet::kObjectAreaSize && contents.size() >= height + kOffset) {
    area.width = GetBig(contents, width, kOffset);
    area.height = GetBig(contents, height, kOffset);
  } else if (triplet.id == triplet::kMappingOption && !contents.empty()) {
    area.mapping = static_cast<Mapping>(contents[0]);
  }
}

void TakeAreaTriplets(std::string_view triplets, ObjectArea& area) {
  Triplets walk(triplets);
  for (Triplet triplet; walk.Next(triplet);) TakeAreaTriplet(triplet, area);
}

}  // namespace

bool ReadUnitSize(std::string_view bytes, UnitSize& units) {
  constexpr size_t length = 6;
  const int64_t x = GetBig(bytes, 2, 2);
  const int64_t y = GetBig(bytes, 4, 2);
  if (bytes.size() < length || x == 0 || y == 0) return false;
  units = {PointsOf(bytes, 0, x), PointsOf(bytes, 1, y)};
  return true;
}

int64_t ReadOffset(std::string_view data, size_t at) {
  if (at + kOffset > data.size()) return 0;
  constexpr int64_t half = 1 << 23;
  const int64_t value = GetBig(data, at, kOffset);
  return value < half ? value : value - 2 * half;
}

std::optional<int> ReadQuarter(std::string_view data, size_t at) {
  constexpr int64_t quarter = 90, none = 0xFFFF;
  const int64_t value = GetBig(data, at, 2);
  if (at + 2 > data.size() || value == none) return std::nullopt;
  // Degrees stand above seven bits of fraction.
  return static_cast<int>((value >> 7) / quarter % 4 * quarter);
}

void ObjectArea::Override(const ObjectArea& other) {
  if (!contentUnits) contentUnits = units;
  if (other.contentX || other.contentY) TakeIfSaid(other.units, contentUnits);
  if (other.width) TakeIfSaid(other.units, units);
  TakeIfSaid(other.width, width);
  TakeIfSaid(other.height, height);
  TakeIfSaid(other.x, x);
  TakeIfSaid(other.y, y);
  TakeIfSaid(other.rotation, rotation);
  TakeIfSaid(other.contentX, contentX);
  TakeIfSaid(other.contentY, contentY);
  TakeIfSaid(other.contentRotation, contentRotation);
  TakeIfSaid(other.mapping, mapping);
  fromPage |= other.fromPage;
}

void TakeAreaDescriptor(std::string_view data, ObjectArea& area) { TakeAreaTriplets(data, area); }

void TakeAreaPosition(std::string_view data, ObjectArea& area) {
  // After an identifier and a length.
  constexpr size_t x = 2, y = 5, rotation = 8, contentX = 13, contentY = 16;
  constexpr size_t contentRotation = 19, origin = 23;
  constexpr size_t least = rotation + 2;
  if (data.size() < least) return;
  area.x = ReadOffset(data, x);
  area.y = ReadOffset(data, y);
  area.rotation = ReadQuarter(data, rotation);
  area.contentX = ReadOffset(data, contentX);
  area.contentY = ReadOffset(data, contentY);
  area.contentRotation = ReadQuarter(data, contentRotation);
  area.fromPage = GetBig(data, origin, 1) != 0;
}

void TakeMapping(std::string_view data, ObjectArea& area) {
  TakeAreaTriplets(data.substr(std::min<size_t>(data.size(), 2)), area);
}

ObjectArea ReadIncludedArea(std::string_view data) {
  constexpr size_t x = 10, y = 13, rotation = 16, contentX = 20, contentY = 23;
  ObjectArea area;
  area.x = OffsetUnlessDefault(data, x);
  area.y = OffsetUnlessDefault(data, y);
  area.rotation = ReadQuarter(data, rotation);
  area.contentX = OffsetUnlessDefault(data, contentX);
  area.contentY = OffsetUnlessDefault(data, contentY);
  const size_t triplets = TripletsOffset(sf::kIncludeObject);
  if (data.size() > triplets) TakeAreaTriplets(data.substr(triplets), area);
  return area;
}

IncludePoint ReadIncludePoint(uint16_t code, std::string_view data) {
  constexpr size_t x = kFieldNameLength, y = x + kOffset, rotation = y + kOffset;
  IncludePoint point;
  point.x = OffsetUnlessDefault(data, x).value_or(0);
  point.y = OffsetUnlessDefault(data, y).value_or(0);
  if (code == sf::kIncludePageOverlay) point.rotation = ReadQuarter(data, rotation).value_or(0);
  return point;
}

IncludePoint ReadImOutputControl(std::string_view data) {
  constexpr size_t rotation = 2 * kOffset;
  return {GetBig(data, 0, kOffset), GetBig(data, kOffset, kOffset),
          ReadQuarter(data, rotation).value_or(0)};
}

}  // namespace kz
