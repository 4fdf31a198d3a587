#include "Toolkit/Base/Printable.h"

#include <cstdio>

namespace kz {

namespace {

struct Character {
  size_t length = 1;  // in bytes
  char32_t code = 0;
  bool valid = false;  // else one byte that is no UTF-8
};

// The character at the start of the text, which isn't empty.
Character FirstOf(std::string_view text) {
  const auto byte = [text](size_t at) { return static_cast<unsigned char>(text[at]); };
  const unsigned char lead = byte(0);
  if (lead < 0x80) return {1, lead, true};
  const size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return {};
  char32_t code = lead & (0x7Fu >> length);
  for (size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return {};
    code = code << 6 | (byte(i) & 0x3F);
  }
  const bool longer = (length == 3 && code < 0x800) || (length == 4 && code < 0x10000);
  const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
  if (longer || surrogate || code > 0x10FFFF) return {};
  return {length, code, true};
}

// Those that no text has, and that writers of files refuse.
bool IsNoncharacter(char32_t code) {
  return (code & 0xFFFE) == 0xFFFE || (code >= 0xFDD0 && code <= 0xFDEF);
}

bool IsPrintable(char32_t code) {
  if (code < 0x20 || (code >= 0x7F && code < 0xA0) || IsNoncharacter(code)) return false;
  return code != 0x061C && code != 0x200E && code != 0x200F &&
         !(code >= 0x2028 && code <= 0x202E) && !(code >= 0x2066 && code <= 0x2069);
}

void AddReplacement(const Character& character, std::string_view bytes, Unprintable as,
                    std::string& out) {
  char escaped[16];
  if (as == Unprintable::Blank) {
    out += ' ';
  } else if (as == Unprintable::Json) {
    (void)std::snprintf(escaped, sizeof(escaped), "\\u%04x",
                        character.valid ? static_cast<unsigned>(character.code) : 0xFFFDu);
    out += escaped;
  } else {
    for (const char c : bytes) {
      (void)std::snprintf(escaped, sizeof(escaped), "\\x%02X", static_cast<unsigned char>(c));
      out += escaped;
    }
  }
}

}  // namespace

std::string Printable(std::string_view text, Unprintable as, std::string_view keep) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const Character character = FirstOf(text);
    const std::string_view bytes = text.substr(0, character.length);
    const bool kept = keep.find(bytes) != std::string_view::npos;
    if (character.valid && (kept || IsPrintable(character.code))) {
      out += bytes;
    } else {
      AddReplacement(character, bytes, as, out);
    }
    text.remove_prefix(character.length);
  }
  return out;
}

}  // namespace kz
