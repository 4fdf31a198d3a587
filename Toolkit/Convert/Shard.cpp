#include "Toolkit/Convert/Shard.h"

#include <charconv>

namespace kz {

namespace {

constexpr uint32_t kMostShards = 1'000'000;

bool ReadNumber(std::string_view text, uint32_t& number) {
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  return result.ec == std::errc() && result.ptr == end && number > 0 && number <= kMostShards;
}

}  // namespace

Outcome Shard::Parse(std::string_view text, Shard& shard) {
  const size_t slash = text.find('/');
  Shard parsed;
  if (slash == std::string_view::npos || !ReadNumber(text.substr(0, slash), parsed.number) ||
      !ReadNumber(text.substr(slash + 1), parsed.count) || parsed.number > parsed.count) {
    std::string what = "'";
    what.append(text).append("' isn't K/N with K from 1 to N");
    return Failure(K_ERROR_INVALID_FORMAT, what);
  }
  shard = parsed;
  return {};
}

}  // namespace kz
