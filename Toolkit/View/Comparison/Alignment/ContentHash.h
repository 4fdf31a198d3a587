// What is compared by a hash of it: 128 bits, other ones in each run of the program, so that
// nobody can make two things that have the same.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Toolkit/Base/Tested.h"

namespace kz {

struct ContentHash {
  uint64_t high = 0;
  uint64_t low = 0;
  bool operator==(const ContentHash&) const = default;
  bool operator<(const ContentHash& other) const {
    return high != other.high ? high < other.high : low < other.low;
  }
};

// For unordered containers.
struct HashOfContent {
  size_t operator()(const ContentHash& hash) const { return static_cast<size_t>(hash.low); }
};

// Bytes come to the same whatever the pieces that they come in.
class KZ_TESTED ContentHasher {
 public:
  ContentHasher();
  void Add(const void* bytes, size_t count);
  void Add(std::string_view text) { Add(text.data(), text.size()); }
  void AddNumber(uint64_t number) { Add(&number, sizeof(number)); }
  void AddHash(const ContentHash& hash);
  ContentHash Value() const;

 private:
  static constexpr size_t kBlock = 16;
  void Mix(const unsigned char* block);

  ContentHash m_state;
  uint64_t m_total = 0;
  size_t m_held = 0;
  unsigned char m_block[kBlock] = {};
};

KZ_TESTED ContentHash HashOf(std::string_view text);

}  // namespace kz
