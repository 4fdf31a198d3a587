// Who gives the outputs of a name.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Files/SpoolFile.h"

namespace kz {

// Remembers of each source 16 bytes in memory, and its name in a file without a name, so that
// another source with the same outputs can be told with the name of the first.
class SourceClaims {
 public:
  // -14 when the file can't be made.
  Outcome Open();
  // Notes a source by the key of its outputs. `rivals` are the paths of those with the same key
  // that were noted before, the latest first: whether they are documents at all is for the
  // caller to see. After kMostRivals there are no more, and `more` is true. -5 or -7 when the
  // file can't be used.
  Outcome Note(std::string_view key, std::string_view path, std::vector<std::string>& rivals,
               bool& more);
  // Forgets all of them.
  void Clear();

  static constexpr size_t kMostRivals = 64;

 private:
  struct Slot {
    uint64_t hash = 0;
    uint64_t place = 0;  // in the file, from 1; 0: the slot is free
  };
  struct Record {
    uint64_t before = 0;  // place of the one noted before it with this hash; 0: none
    uint32_t key = 0;     // bytes
    uint32_t path = 0;
  };

  Slot& Find(uint64_t hash);
  void Grow();

  SpoolFile m_file;
  uint64_t m_end = 1;
  std::vector<Slot> m_slots;
  size_t m_used = 0;
};

}  // namespace kz
