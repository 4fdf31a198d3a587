#include "Tools/kzica/NumberedName.h"

#include <charconv>
#include <string_view>

namespace kzica {

namespace {

// Length of the %d at the start of the text, 0 when there is none. A width has at
// most two digits: more would be no name for a file.
size_t NumberLength(std::string_view text) {
  size_t end = 1;
  while (end < text.size() && end < 3 && text[end] >= '0' && text[end] <= '9') ++end;
  return text.starts_with('%') && end < text.size() && text[end] == 'd' ? end + 1 : 0;
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
  for (size_t i = 0; i < name.size(); ++i) {
    if (NumberLength(std::string_view(name).substr(i)) > 0) return true;
  }
  return false;
}

std::string NumberedName(const std::string& name, int page) {
  std::string result;
  for (size_t i = 0; i < name.size();) {
    const std::string_view rest = std::string_view(name).substr(i);
    const size_t length = NumberLength(rest);
    if (length > 0) {
      result += Padded(page, rest.substr(0, length));
      i += length;
    } else {
      result += name[i++];
    }
  }
  return result;
}

}  // namespace kzica
