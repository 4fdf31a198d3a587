// Text from elsewhere - names of files, words of documents - on its way to people.
#pragma once

#include <string>
#include <string_view>

#include "Host/Kernel/Export.h"

namespace kz {

// What takes the place of what isn't printed.
enum class Unprintable {
  Hex,    // each byte as \x1B
  Json,   // each character as in a string of JSON, \u001b
  Blank,  // a blank for each character
};

// The text without what a terminal could take for orders: control characters (U+0000
// to U+001F, U+007F to U+009F), those that end lines or turn the direction of writing
// (U+061C, U+200E, U+200F, U+2028 to U+202E, U+2066 to U+2069), noncharacters (U+FFFE), and bytes that are no
// UTF-8. Characters of `keep` stay.
K_EXPORT std::string Printable(std::string_view text, Unprintable as = Unprintable::Hex,
                               std::string_view keep = {});

}  // namespace kz
