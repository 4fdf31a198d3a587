// Triplets: the optional parameters at the end of many structured fields ("Triplets" of
// docs/format.md).
#pragma once

#include <cstdint>
#include <string_view>

namespace kz {

namespace triplet {
constexpr uint8_t kCharacterSet = 0x01;
constexpr uint8_t kQualifiedName = 0x02;
constexpr uint8_t kMappingOption = 0x04;
constexpr uint8_t kObjectClassification = 0x10;
constexpr uint8_t kInterchangeSet = 0x18;
constexpr uint8_t kFontDescriptor = 0x1F;
constexpr uint8_t kFontCharacterSet = 0x20;
constexpr uint8_t kLocalId = 0x24;
constexpr uint8_t kAttributeValue = 0x36;
constexpr uint8_t kDescriptorPosition = 0x43;
constexpr uint8_t kMeasurementUnits = 0x4B;
constexpr uint8_t kObjectAreaSize = 0x4C;
constexpr uint8_t kEncodingScheme = 0x50;
constexpr uint8_t kDataObjectFont = 0x8B;
}  // namespace triplet

// What the name of a Fully Qualified Name triplet is, by its type.
namespace fqn {
constexpr uint8_t kReplacesName = 0x01;  // of the field
constexpr uint8_t kCodedFontGrid = 0x84;
constexpr uint8_t kCodePage = 0x85;
constexpr uint8_t kFontCharacterSet = 0x86;
constexpr uint8_t kCodedFont = 0x8E;
constexpr uint8_t kInternalReference = 0xBE;
constexpr uint8_t kExternalResource = 0xDE;
}  // namespace fqn

enum class TripletFault {
  None,
  Length,  // a length that none can have, or a single byte
  Cut,     // longer than the bytes that are there
};

struct Triplet {
  uint8_t id = 0;
  std::string_view whole;     // with length and identifier
  std::string_view contents;  // without
  TripletFault fault = TripletFault::None;
};

// Walks over triplets, whose bytes must stay.
class Triplets {
 public:
  explicit Triplets(std::string_view bytes) : m_rest(bytes) {}
  // The next triplet. False at the end, where its fault is None, and at a length that
  // leads nowhere; then `contents` of one that is cut are what is there of it.
  bool Next(Triplet& triplet);

 private:
  std::string_view m_rest;
};

// The first triplet of the identifier; with an empty `whole` when there is none.
Triplet FindTriplet(std::string_view triplets, uint8_t id);

// The type of a Fully Qualified Name triplet; 0 for another triplet.
constexpr uint8_t QualifiedNameType(const Triplet& triplet) {
  const bool typed = triplet.id == triplet::kQualifiedName && !triplet.contents.empty();
  return typed ? static_cast<uint8_t>(triplet.contents[0]) : uint8_t{0};
}

// The name in a Fully Qualified Name triplet; empty when it has none.
constexpr std::string_view QualifiedName(const Triplet& triplet) {
  // Its type and its format stand before.
  constexpr size_t name = 2;
  const bool named = triplet.id == triplet::kQualifiedName && triplet.contents.size() > name;
  return named ? triplet.contents.substr(name) : std::string_view();
}

// The name that takes the place of the one that a field begins with; empty for none.
std::string_view ReplacingName(std::string_view triplets);

}  // namespace kz
