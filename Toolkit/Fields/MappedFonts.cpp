#include "Toolkit/Fields/MappedFonts.h"

#include <optional>
#include <utility>

#include "Format/BigEndian.h"
#include "Format/CodePage.h"
#include "Format/StructuredField.h"
#include "Format/Triplet.h"

namespace kz {

namespace {

constexpr const char* kUtf16 = "UTF-16BE";
constexpr const char* kUtf8 = "UTF-8";
// The type of resource that a local identifier of a font has.
constexpr char kFontResource = 0x05;

// A name of which the first two bytes are FFFF is none.
std::string NameIn(std::string_view data, size_t at) {
  const std::string_view name = data.substr(at, kFieldNameLength);
  return name.starts_with("\xFF\xFF") ? std::string() : ResourceName(name);
}

// Groups of a fixed length, without triplets.
void AddFormat1(std::string_view data, FontMap& fonts) {
  constexpr size_t header = 4, codedFont = 4, codePage = 12, characterSet = 20, least = 28;
  const auto length = static_cast<size_t>(GetBig(data, 0, 1));
  if (length < least || data.size() < header) return;
  for (data.remove_prefix(header); data.size() >= length; data.remove_prefix(length)) {
    MappedFont font;
    font.codedFont = NameIn(data, codedFont);
    font.codePage = NameIn(data, codePage);
    font.name = NameIn(data, characterSet);
    fonts[static_cast<unsigned char>(data[0])] = std::move(font);
  }
}

// Sizes are in twentieths of a point.
double PointsIn(std::string_view contents) {
  constexpr size_t size = 2;
  return static_cast<double>(GetBig(contents, size, 2)) / 20;
}

// The encoding of the text that an Encoding Scheme triplet tells: that of the text
// itself, or of the font when it doesn't say more. Null for one of code pages.
const char* SchemeOf(std::string_view contents) {
  const int64_t font = GetBig(contents, 0, 2);
  const int64_t text = contents.size() >= 4 ? GetBig(contents, 2, 2) : 0;
  if (text == 0x7807) return kUtf8;
  if (text == 0x7200 || font == 0x7200 || font == 0x8200) return kUtf16;
  return nullptr;
}

void AddGroup(std::string_view triplets, bool dataResource, FontMap& fonts) {
  MappedFont font;
  std::optional<unsigned> id;
  bool isFont = !dataResource;
  Triplets walk(triplets);
  Triplet triplet;
  while (walk.Next(triplet)) {
    const std::string_view contents = triplet.contents;
    const std::string_view name = QualifiedName(triplet);
    switch (triplet.id) {
      case triplet::kQualifiedName:
        if (QualifiedNameType(triplet) == fqn::kCodePage) font.codePage = ResourceName(name);
        if (QualifiedNameType(triplet) == fqn::kCodedFont) font.codedFont = ResourceName(name);
        if (QualifiedNameType(triplet) == fqn::kFontCharacterSet) font.name = ResourceName(name);
        if (QualifiedNameType(triplet) == fqn::kExternalResource) font.name = ResourceName(name);
        if (QualifiedNameType(triplet) == fqn::kCodedFontGrid) {
          font.number = static_cast<unsigned>(GetBig(name, 2, 2));
        }
        if (QualifiedNameType(triplet) == fqn::kInternalReference && !name.empty()) {
          id = static_cast<unsigned char>(name.back());
        }
        break;
      case triplet::kFontCharacterSet:
        font.number = static_cast<unsigned>(GetBig(contents, 2, 2));
        break;
      case triplet::kLocalId:
        if (contents.size() >= 2 && contents[0] == kFontResource) {
          id = static_cast<unsigned char>(contents[1]);
        }
        break;
      case triplet::kEncodingScheme:
        font.encoding = SchemeOf(contents);
        break;
      case triplet::kFontDescriptor: {
        constexpr size_t flags = 6;
        constexpr int64_t boldWeight = 7, italic = 0x80;
        font.points = PointsIn(contents);
        font.bold = GetBig(contents, 0, 1) >= boldWeight;
        font.italic = (GetBig(contents, flags, 1) & italic) != 0;
        break;
      }
      case triplet::kDataObjectFont:
        isFont = true;
        font.points = PointsIn(contents);
        break;
      default:
        break;
    }
  }
  if (!isFont || !id) return;
  // A TrueType font has text in Unicode unless a code page is named.
  const bool paged = !font.codePage.empty() || font.number != 0;
  if (dataResource && font.encoding == nullptr && !paged) font.encoding = kUtf16;
  fonts[*id] = std::move(font);
}

}  // namespace

void AddMappedFonts(uint16_t code, std::string_view data, FontMap& fonts) {
  if (code == sf::kMapCodedFontFormat1) return AddFormat1(data, fonts);
  constexpr size_t header = 2;
  while (data.size() >= header) {
    const auto length = static_cast<size_t>(GetBig(data, 0, header));
    if (length <= header || length > data.size()) return;
    AddGroup(data.substr(header, length - header), code == sf::kMapDataResource, fonts);
    data.remove_prefix(length);
  }
}

}  // namespace kz
