#include "Toolkit/Files/NumberedName.h"

#include <charconv>
#include <string_view>

namespace kz {

namespace {

bool IsWordCharacter(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// Length of the %d at the start of the text, 0 when there is none. A width has at
// most two digits: more would be no name for a file.
size_t NumberLength(std::string_view text) {
  size_t end = 1;
  while (end < text.size() && end < 3 && text[end] >= '0' && text[end] <= '9') ++end;
  if (!text.starts_with('%') || end >= text.size() || text[end] != 'd') return 0;
  return end + 1 < text.size() && IsWordCharacter(text[end + 1]) ? 0 : end + 1;
}

std::string Padded(int page, std::string_view place) {
  std::string number = std::to_string(page);
  size_t width = 0;
  std::from_chars(place.data() + 1, place.data() + place.size(), width);
  if (number.size() < width) number.insert(0, width - number.size(), place[1] == '0' ? '0' : ' ');
  return number;
}

}  // namespace

bool IsNumbered(const std::string& name) {
  for (std::string_view rest = name; !rest.empty();) {
    if (NumberLength(rest) > 0) return true;
    rest.remove_prefix(rest.starts_with("%%") ? 2 : 1);
  }
  return false;
}

std::string NumberedName(const std::string& name, int page) {
  std::string result;
  bool numbered = false;
  for (std::string_view rest = name; !rest.empty();) {
    const size_t length = numbered ? 0 : NumberLength(rest);
    if (length > 0) {
      result += Padded(page, rest.substr(0, length));
      numbered = true;
    } else {
      result += rest[0];
    }
    rest.remove_prefix(length > 0 ? length : rest.starts_with("%%") ? 2 : 1);
  }
  return result;
}

}  // namespace kz
