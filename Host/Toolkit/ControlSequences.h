// The control sequences of presentation text (PTOCA), one after the other.
#pragma once

#include <cstddef>
#include <string_view>

namespace kz {

constexpr unsigned kTransparentData = 0xDA;

struct ControlSequence {
  enum class Fault {
    None,
    NoSequence,  // bytes that begin none, up to where one begins
    Length,      // a length that none can have; the rest of the data isn't understood
    Cut,         // the data end within it
  };
  size_t offset = 0;
  size_t length = 0;  // of all of it, the prefix of an unchained one included
  unsigned code = 0;  // function type as it stands
  std::string_view parameters;
  Fault fault = Fault::None;

  // The lowest bit of the code says that the next sequence is chained to this one and
  // has no prefix.
  bool Chained() const { return (code & 1) != 0; }
  unsigned Type() const { return code & ~1u; }
  // Absolute and Relative Move Baseline, Begin Line.
  bool MovesBaseline() const { return Type() == 0xD2 || Type() == 0xD4 || Type() == 0xD8; }
};

// Walks over the data of a Presentation Text Data field, which must stay.
class ControlSequences {
 public:
  explicit ControlSequences(std::string_view data) : m_data(data) {}
  // The next sequence, or what stands in the place of one. False at the end.
  bool Next(ControlSequence& sequence);

 private:
  std::string_view m_data;
  size_t m_at = 0;
  bool m_chained = false;
};

}  // namespace kz
