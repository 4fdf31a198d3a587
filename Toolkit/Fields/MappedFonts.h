// The fonts that text chooses by local identifiers: its encoding, and what it looks like.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "Format/StructuredField.h"
#include "Toolkit/Base/Tested.h"

namespace kz {

// What a field says that maps a font; empty, 0 and null for what it doesn't say.
struct MappedFont {
  std::string codePage;            // the name of the resource
  std::string codedFont;           // the name of the resource, which names a code page
  unsigned number = 0;             // of the code page
  const char* encoding = nullptr;  // of text that isn't in a code page
  std::string name;                // of the characters: a character set, or a TrueType font
  double points = 0;               // size
  bool bold = false;
  bool italic = false;
};

// By local identifiers.
using FontMap = std::map<unsigned, MappedFont>;

// Whether a field maps fonts, which AddMappedFonts then reads.
constexpr bool MapsFonts(uint16_t code) {
  return code == sf::kMapCodedFont || code == sf::kMapCodedFontFormat1 ||
         code == sf::kMapDataResource;
}

// Adds the fonts of a Map Coded Font field of either format or of a Map Data Resource
// field; whatever else the latter maps, and what is cut, is passed over.
KZ_TESTED void AddMappedFonts(uint16_t code, std::string_view data, FontMap& fonts);

}  // namespace kz
