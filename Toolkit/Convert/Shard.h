// A share of many files, the same on every machine and whatever the others do.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Outcome.h"

namespace kz {

// FNV-1a with 64 bits, its bits mixed: neighbours among names fall anywhere.
constexpr uint64_t StableHash(std::string_view text) {
  uint64_t hash = 0xCBF29CE484222325U;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
  hash = (hash ^ (hash >> 33)) * 0xFF51AFD7ED558CCDU;
  hash = (hash ^ (hash >> 33)) * 0xC4CEB9FE1A85EC53U;
  return hash ^ (hash >> 33);
}

struct K_EXPORT Shard {
  uint32_t number = 1;  // from 1
  uint32_t count = 1;

  // Reads "3/8"; -9 for what isn't a number from 1 to the count, and a count up to a million.
  static Outcome Parse(std::string_view text, Shard& shard);
  std::string Text() const { return std::to_string(number) + "/" + std::to_string(count); }
  bool IsWhole() const { return count == 1; }
  // Whether what the key stands for is in this shard. Each key is in one of the `count`.
  bool Has(std::string_view key) const {
    return count == 1 || StableHash(key) % count == number - 1;
  }
};

}  // namespace kz
