// What the data of structured fields say, in short.
#include "Format/StructuredField.h"
#include "Toolkit/Dump/DumpWalkers.h"

namespace kz {

namespace {

constexpr size_t kNameLength = 8;
constexpr size_t kShownBytes = 16;
constexpr size_t kShownText = 120;

const char* UnitBase(int64_t base) {
  switch (base) {
    case 0:
      return "10 inches";
    case 1:
      return "10 centimetres";
    case 2:
      return "logical";
    default:
      return "unknown";
  }
}

// Begin, End and Include fields say a name first.
bool BeginsWithName(uint16_t code) {
  const unsigned type = code >> 8;
  return type == 0xA8 || type == 0xA9 || type == 0xAF;
}

// Text that may be the document's code page or ASCII, which comments often are.
std::string FreeText(std::string_view bytes, DumpStream& stream) {
  size_t ascii = 0;
  for (const char c : bytes) ascii += c >= 0x20 && c < 0x7F ? 1 : 0;
  const std::string_view shown = bytes.substr(0, kShownText);
  const bool whole = shown.size() == bytes.size();
  return (ascii == bytes.size() ? std::string(shown) : stream.Text(shown)) + (whole ? "" : "...");
}

void DescribeTriplets(std::string_view triplets, DumpStream& stream, DumpEvent& event) {
  constexpr char fullyQualifiedName = 0x02;
  constexpr char attributeValue = 0x36;
  while (triplets.size() > 4) {
    const auto length = static_cast<unsigned char>(triplets[0]);
    if (length < 2 || length > triplets.size()) return;
    if (length > 4 && triplets[1] == fullyQualifiedName) {
      // A format of 0 says that the name is text.
      const std::string_view name = triplets.substr(4, length - 4u);
      const bool text = triplets[3] == 0;
      event.Add("qualifiedName", text ? stream.Text(name) : Hex(name, kShownBytes));
    } else if (length > 4 && triplets[1] == attributeValue) {
      event.Add("value", stream.Text(triplets.substr(4, length - 4u)));
    }
    triplets.remove_prefix(length);
  }
}

void DescribeName(uint16_t code, std::string_view data, DumpStream& stream, DumpEvent& event) {
  if (data.size() < kNameLength) return;
  const std::string_view name = data.substr(0, kNameLength);
  // Names of zeros or all bits on are none: they match any.
  if (name.find_first_not_of('\0') == std::string_view::npos) return;
  if (name.find_first_not_of('\xFF') == std::string_view::npos) return;
  std::string text = stream.Text(name);
  while (!text.empty() && text.back() == ' ') text.pop_back();
  if (!text.empty()) event.Add("name", std::move(text));
  // Begin Document and Begin Resource have two bytes before their triplets.
  const bool two = code == 0xA8A8 || code == 0xA8CE;
  if (data.size() > kNameLength + 2 && code >> 8 == 0xA8) {
    DescribeTriplets(data.substr(two ? kNameLength + 2 : kNameLength), stream, event);
  }
}

void DescribeExtent(std::string_view data, DumpEvent& event) {
  // Page Descriptor and Presentation Text Data Descriptor have these twelve bytes.
  if (data.size() < 12) return;
  event.Add("unitBase", UnitBase(Big(data, 0, 1)));
  event.Add("xUnits", Big(data, 2, 2));
  event.Add("yUnits", Big(data, 4, 2));
  event.Add("width", Big(data, 6, 3));
  event.Add("height", Big(data, 9, 3));
}

void DescribeImageData(std::string_view data, DumpEvent& event) {
  if (data.size() < 9) return;
  event.Add("unitBase", UnitBase(Big(data, 0, 1)));
  event.Add("xUnits", Big(data, 1, 2));
  event.Add("yUnits", Big(data, 3, 2));
  event.Add("width", Big(data, 5, 2));
  event.Add("height", Big(data, 7, 2));
}

void DescribeAreaDescriptor(std::string_view triplets, DumpEvent& event) {
  while (triplets.size() >= 2) {
    const auto length = static_cast<unsigned char>(triplets[0]);
    if (length < 2 || length > triplets.size()) return;
    if (triplets[1] == 0x4B && length >= 8) {
      event.Add("unitBase", UnitBase(Big(triplets, 2, 1)));
      event.Add("xUnits", Big(triplets, 4, 2));
      event.Add("yUnits", Big(triplets, 6, 2));
    } else if (triplets[1] == 0x4C && length >= 9) {
      event.Add("width", Big(triplets, 3, 3));
      event.Add("height", Big(triplets, 6, 3));
    }
    triplets.remove_prefix(length);
  }
}

void DescribeAreaPosition(std::string_view data, DumpEvent& event) {
  if (data.size() < 12) return;
  event.Add("x", Big(data, 2, 3));
  event.Add("y", Big(data, 5, 3));
  // Degrees stand above seven bits of fraction.
  event.Add("rotation", Big(data, 8, 2) >> 7);
}

}  // namespace

void DescribeFieldData(uint16_t code, std::string_view data, DumpStream& stream, DumpEvent& event) {
  switch (code) {
    case sf::kPageDescriptor:
    case kTextDescriptor:
      DescribeExtent(data, event);
      break;
    case sf::kImageDataDescriptor:
      DescribeImageData(data, event);
      break;
    case sf::kObjectAreaDescriptor:
      DescribeAreaDescriptor(data, event);
      break;
    case sf::kObjectAreaPosition:
      DescribeAreaPosition(data, event);
      break;
    case kNoOperation:
      if (!data.empty()) event.Add("text", FreeText(data, stream));
      break;
    case kTagLogicalElement:
      DescribeTriplets(data, stream, event);
      break;
    case sf::kImagePictureData:
    case sf::kPresentationText:
      // Their contents follow as events of their own.
      return;
    default:
      if (BeginsWithName(code)) {
        DescribeName(code, data, stream, event);
        // What more there is, isn't in words.
        if (code >> 8 != 0xAF) return;
        data.remove_prefix(std::min(data.size(), kNameLength));
        event.data = Hex(data, kShownBytes);
        return;
      }
      break;
  }
  if (event.values.empty()) event.data = Hex(data, kShownBytes);
}

}  // namespace kz
