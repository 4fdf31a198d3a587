// Numbers and lists in sentences.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kzica {

// "1 page", "2 pages".
std::string Counted(int64_t count, const std::string& what);
// Ascending numbers as people write them: "1-3, 7".
std::string Ranges(const std::vector<int>& numbers);

}  // namespace kzica
