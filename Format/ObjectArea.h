// Where objects stand on a page or overlay, and how their content fills their area
// ("Object areas" of docs/format.md).
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace kz {

constexpr double kPointsPerInch = 72;

// What a unit of a coordinate system measures, in points. If not said, 1440 are an inch.
struct UnitSize {
  double x = 0.05;
  double y = 0.05;
};

// Reads unit bases and units per base from six bytes: base of x and y, units of x and y, as
// descriptors and Measurement Units triplets have them. False, and nothing changed, when they
// are cut or a number is 0.
bool ReadUnitSize(std::string_view bytes, UnitSize& units);

// A signed offset of three bytes; what isn't there is 0.
int64_t ReadOffset(std::string_view data, size_t at);

// Degrees of two bytes, clockwise, as 0, 90, 180 or 270: others count as the quarter before.
// Nothing for bytes that aren't there, or that say: as the object has it.
std::optional<int> ReadQuarter(std::string_view data, size_t at);

enum class Mapping : uint8_t {
  Position = 0x00,
  PositionAndTrim = 0x10,
  ScaleToFit = 0x20,
  CenterAndTrim = 0x30,
  PointToPel = 0x41,
  DoublePointToPel = 0x42,
  Replicate = 0x50,
  ScaleToFill = 0x60,
};

// An object area, in units of what it stands in and of its own. What isn't said is empty.
struct ObjectArea {
  std::optional<UnitSize> units;         // its own
  std::optional<UnitSize> contentUnits;  // of the content's origin, if not the area's own
  std::optional<int64_t> width;          // in its own units
  std::optional<int64_t> height;
  std::optional<int64_t> x;  // of its origin, in units of the page or overlay
  std::optional<int64_t> y;
  std::optional<int> rotation;      // degrees clockwise, about the origin
  std::optional<int64_t> contentX;  // of the content's origin, in the content's units
  std::optional<int64_t> contentY;
  std::optional<int> contentRotation;
  // The origin counts from that of the page, also in a page segment.
  bool fromPage = false;
  std::optional<Mapping> mapping;

  // Takes what another area says in place of what this one does, in the units in which each
  // says it.
  void Override(const ObjectArea& other);
};

// Take the data of an Object Area Descriptor, an Object Area Position, and a field that maps
// an object's content to its area; what is cut stays as it was.
void TakeAreaDescriptor(std::string_view data, ObjectArea& area);
void TakeAreaPosition(std::string_view data, ObjectArea& area);
void TakeMapping(std::string_view data, ObjectArea& area);
// What an Include Object field says of the object's area.
ObjectArea ReadIncludedArea(std::string_view data);

// Where an Include Page Overlay or Include Page Segment field puts what it includes, in
// units of the page or overlay.
struct IncludePoint {
  int64_t x = 0;
  int64_t y = 0;
  int rotation = 0;  // of overlays: degrees clockwise
};
IncludePoint ReadIncludePoint(uint16_t code, std::string_view data);

// Where an IM Image Output Control field puts the image, in image points.
IncludePoint ReadImOutputControl(std::string_view data);

}  // namespace kz
