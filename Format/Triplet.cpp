// Triplets ("Triplets" of docs/format.md).
#include "Format/Triplet.h"

#include <algorithm>
#include <iterator>

namespace kz {

namespace {

struct TripletRow {
  uint8_t id;
  const char* name;
};

// Names are those of the MO:DCA reference.
constexpr TripletRow kTriplets[] = {
    {triplet::kCharacterSet, "Coded Graphic Character Set Global Identifier"},
    {triplet::kQualifiedName, "Fully Qualified Name"},
    {triplet::kMappingOption, "Mapping Option"},
    {triplet::kObjectClassification, "Object Classification"},
    {triplet::kInterchangeSet, "MO:DCA Interchange Set"},
    {0x1D, "Text Orientation"},
    {triplet::kFontCharacterSet, "Font Coded Graphic Character Set Global Identifier"},
    {0x21, "Resource Object Type"},
    {0x22, "Extended Resource Local Identifier"},
    {triplet::kLocalId, "Resource Local Identifier"},
    {0x25, "Resource Section Number"},
    {0x26, "Character Rotation"},
    {0x27, "Line Data Object Position Migration"},
    {0x2D, "Object Byte Offset"},
    {triplet::kAttributeValue, "Attribute Value"},
    {triplet::kDescriptorPosition, "Descriptor Position"},
    {0x45, "Media Eject Control"},
    {0x46, "Page Overlay Conditional Processing"},
    {0x47, "Resource Usage Attribute"},
    {triplet::kMeasurementUnits, "Measurement Units"},
    {triplet::kObjectAreaSize, "Object Area Size"},
    {0x4D, "Area Definition"},
    {triplet::kEncodingScheme, "Encoding Scheme ID"},
    {0x56, "Medium Map Page Number"},
    {0x57, "Object Byte Extent"},
    {0x58, "Object Structured Field Offset"},
    {0x59, "Object Structured Field Extent"},
    {0x5A, "Object Offset"},
    {0x5D, "Font Horizontal Scale Factor"},
    {0x5E, "Object Count"},
    {0x62, "Local Date and Time Stamp"},
    {0x63, "Object Checksum"},
    {0x64, "Object Origin Identifier"},
    {0x65, "Comment"},
    {0x68, "Medium Orientation"},
    {0x6C, "Resource Object Include"},
    {0x70, "Presentation Space Reset Mixing"},
    {0x71, "Presentation Space Mixing Rules"},
    {0x72, "Universal Date and Time Stamp"},
    {0x74, "Toner Saver"},
    {0x75, "Color Fidelity"},
    {0x78, "Font Fidelity"},
    {0x80, "Attribute Qualifier"},
    {0x81, "Page Position Information"},
    {0x82, "Parameter Value"},
    {0x83, "Presentation Control"},
    {0x84, "Font Resolution and Metric Technology"},
    {0x85, "Finishing Operation"},
    {0x86, "Text Fidelity"},
    {0x87, "Media Fidelity"},
    {0x88, "Finishing Fidelity"},
    {triplet::kDataObjectFont, "Data Object Font Descriptor"},
    {0x8C, "Locale Selector"},
    {0x8E, "UP3i Finishing Operation"},
    {0x8F, "MO:DCA Function Set"},
    {0x91, "Color Management Resource Descriptor"},
    {0x95, "Rendering Intent"},
    {0x96, "CMR Tag Fidelity"},
    {0x97, "Device Appearance"},
    {0x9A, "Image Resolution"},
    {0x9C, "Object Container Presentation Space Size"},
    {0x9D, "Keep Group Together"},
    {0x9E, "Setup Name"},
};

}  // namespace

const char* TripletName(uint8_t id) {
  const auto* row = std::find_if(std::begin(kTriplets), std::end(kTriplets),
                                 [id](const TripletRow& known) { return known.id == id; });
  return row != std::end(kTriplets) ? row->name : nullptr;
}

bool Triplets::Next(Triplet& triplet) {
  constexpr size_t header = 2;
  triplet = {};
  if (m_rest.empty()) return false;
  const size_t length = static_cast<unsigned char>(m_rest[0]);
  if (length < header || m_rest.size() < header) {
    triplet.fault = TripletFault::Length;
    return false;
  }
  triplet.id = static_cast<uint8_t>(m_rest[1]);
  triplet.whole = m_rest.substr(0, length);
  triplet.contents = triplet.whole.substr(header);
  if (length > m_rest.size()) {
    triplet.fault = TripletFault::Cut;
    return false;
  }
  m_rest.remove_prefix(length);
  return true;
}

Triplet FindTriplet(std::string_view triplets, uint8_t id) {
  Triplets walk(triplets);
  Triplet triplet;
  while (walk.Next(triplet)) {
    if (triplet.id == id) return triplet;
  }
  return {};
}

}  // namespace kz
