// What the data of structured fields say, in short.
#include <algorithm>

#include "Format/SelfDefiningField.h"
#include "Format/StructuredField.h"
#include "Format/Triplet.h"
#include "Toolkit/Dump/DumpWalkers.h"

namespace kz {

namespace {

constexpr size_t kShownText = 120;

// Text that may be the document's code page or ASCII, which comments often are.
std::string FreeText(std::string_view bytes, DumpStream& stream) {
  const bool ascii =
      std::all_of(bytes.begin(), bytes.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
  const std::string_view shown = bytes.substr(0, kShownText);
  const bool whole = shown.size() == bytes.size();
  return (ascii ? std::string(shown) : stream.Text(shown)) + (whole ? "" : "...");
}

void DescribeTriplets(uint16_t code, std::string_view data, DumpStream& stream, DumpEvent& event) {
  data.remove_prefix(std::min<size_t>(data.size(), TripletsOffset(code)));
  Triplets walk(data);
  Triplet triplet;
  while (walk.Next(triplet)) {
    const std::string_view name = QualifiedName(triplet);
    if (!name.empty()) {
      // A format of 0 says that the name is text.
      const bool text = triplet.contents[1] == 0;
      event.Add("qualifiedName", text ? stream.Text(name) : Hex(name));
    } else if (triplet.id == triplet::kAttributeValue && triplet.contents.size() > 2) {
      event.Add("value", stream.Text(triplet.contents.substr(2)));
    }
  }
}

void DescribeNamed(uint16_t code, std::string_view data, DumpStream& stream, DumpEvent& event) {
  const std::string_view name = data.substr(0, kFieldNameLength);
  // What there is after the name of an Include field isn't in words.
  if (TypeOf(code) == FieldType::Include) event.data = Hex(data.substr(name.size()));
  if (name.size() < kFieldNameLength) return;
  // Names of zeros or all bits on are none: they match any.
  if (name.find_first_not_of('\0') == std::string_view::npos) return;
  if (name.find_first_not_of('\xFF') == std::string_view::npos) return;
  std::string text = stream.Text(name);
  text.erase(text.find_last_not_of(' ') + 1);
  if (!text.empty()) event.Add("name", std::move(text));
  if (TypeOf(code) == FieldType::Begin) DescribeTriplets(code, data, stream, event);
}

// A unit base begins the data, the units of both directions stand at an offset.
void AddUnits(std::string_view data, size_t units, DumpEvent& event) {
  const char* base = UnitBaseName(static_cast<unsigned char>(data[0]));
  event.Add("unitBase", base != nullptr ? base : "unknown");
  event.Add("xUnits", GetBig(data, units, 2));
  event.Add("yUnits", GetBig(data, units + 2, 2));
}

// Two sides of `count` bytes each.
void AddSize(std::string_view data, size_t at, size_t count, DumpEvent& event) {
  event.Add("width", GetBig(data, at, count));
  event.Add("height", GetBig(data, at + count, count));
}

void DescribeAreaDescriptor(std::string_view data, DumpEvent& event) {
  Triplets walk(data);
  Triplet triplet;
  while (walk.Next(triplet)) {
    const size_t size = triplet.contents.size();
    if (triplet.id == triplet::kMeasurementUnits && size >= 6) {
      AddUnits(triplet.contents, 2, event);
    } else if (triplet.id == triplet::kObjectAreaSize && size >= 7) {
      AddSize(triplet.contents, 1, 3, event);
    }
  }
}

}  // namespace

void DescribeFieldData(uint16_t code, std::string_view data, DumpStream& stream, DumpEvent& event) {
  switch (code) {
    case sf::kPageDescriptor:
    case sf::kTextDescriptor:
      if (data.size() < 12) break;
      AddUnits(data, 2, event);
      AddSize(data, 6, 3, event);
      break;
    case sf::kImageDataDescriptor:
      if (data.size() < 9) break;
      AddUnits(data, 1, event);
      AddSize(data, 5, 2, event);
      break;
    case sf::kObjectAreaDescriptor:
      DescribeAreaDescriptor(data, event);
      break;
    case sf::kObjectAreaPosition:
      if (data.size() < 12) break;
      event.Add("x", GetBig(data, 2, 3));
      event.Add("y", GetBig(data, 5, 3));
      // Degrees stand above seven bits of fraction.
      event.Add("rotation", GetBig(data, 8, 2) >> 7);
      break;
    case sf::kNoOperation:
      if (!data.empty()) event.Add("text", FreeText(data, stream));
      break;
    case sf::kTagLogicalElement:
      DescribeTriplets(code, data, stream, event);
      break;
    case sf::kImagePictureData:
    case sf::kPresentationText:
      // Their contents follow as events of their own.
      return;
    default:
      if (CarriesName(code)) {
        DescribeNamed(code, data, stream, event);
        return;
      }
  }
  if (event.values.empty()) event.data = Hex(data);
}

}  // namespace kz
