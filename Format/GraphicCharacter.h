// Graphic characters by their registered identifiers, as the code pages of fonts name
// them ("Code pages" of docs/format.md).
#pragma once

#include <string>
#include <string_view>

namespace kz {

// The length of an identifier.
constexpr size_t kGraphicCharacterId = 8;

// The characters that an identifier in ASCII stands for: "LA110000" is a with acute, and a
// letter that Unicode doesn't have with its accent is followed by the accent. A variant,
// which the last four characters tell, is its basic character. Empty for an identifier
// that isn't known.
std::u32string CharactersOfId(std::string_view id);

}  // namespace kz
