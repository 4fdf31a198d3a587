#include "Tools/kzica/Words.h"

namespace kzica {

std::string Counted(int64_t count, const std::string& what) {
  std::string words = std::to_string(count);
  words += " " + what;
  if (count != 1) words += "s";
  return words;
}

std::string Ranges(const std::vector<int>& numbers) {
  std::string ranges;
  for (size_t i = 0; i < numbers.size();) {
    size_t last = i;
    while (last + 1 < numbers.size() && numbers[last + 1] == numbers[last] + 1) ++last;
    if (!ranges.empty()) ranges += ", ";
    ranges += std::to_string(numbers[i]);
    if (last > i) {
      ranges += "-";
      ranges += std::to_string(numbers[last]);
    }
    i = last + 1;
  }
  return ranges;
}

}  // namespace kzica
