// The control sequences of presentation text, one after the other ("Presentation text"
// of docs/format.md).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Format/BigEndian.h"

namespace kz {

// Prefix and class of a control sequence that isn't chained to the one before.
constexpr std::string_view kSequencePrefix("\x2B\xD3", 2);

// Function types, without the bit that chains.
namespace ptx {
constexpr unsigned kUnicodeText = 0x6A;
constexpr unsigned kSetTextColor = 0x74;
constexpr unsigned kUnderscore = 0x76;
constexpr unsigned kTemporaryMove = 0x78;
constexpr unsigned kSetExtendedColor = 0x80;
constexpr unsigned kSetInlineMargin = 0xC0;
constexpr unsigned kSetAdjustment = 0xC2;
constexpr unsigned kSetVariableSpace = 0xC4;
constexpr unsigned kAbsoluteMoveInline = 0xC6;
constexpr unsigned kRelativeMoveInline = 0xC8;
constexpr unsigned kSetBaselineIncrement = 0xD0;
constexpr unsigned kAbsoluteMoveBaseline = 0xD2;
constexpr unsigned kRelativeMoveBaseline = 0xD4;
constexpr unsigned kBeginLine = 0xD8;
constexpr unsigned kTransparentData = 0xDA;
constexpr unsigned kInlineRule = 0xE4;
constexpr unsigned kBaselineRule = 0xE6;
constexpr unsigned kRepeatString = 0xEE;
constexpr unsigned kSetFont = 0xF0;
constexpr unsigned kSetOrientation = 0xF6;
}  // namespace ptx

// What the parameters of a control sequence are.
enum class SequenceParameters : uint8_t {
  Bytes,
  Number,        // of one byte, or a signed one of two that more may follow
  Orientations,  // two angles, in degrees above seven bits of fraction
  Text,
};

// A row of the table of control sequences.
struct ControlSequenceRow {
  uint8_t type;
  const char* acronym;
  const char* words;
  SequenceParameters parameters;
};

// The row of a function type; null for one that isn't known.
const ControlSequenceRow* FindControlSequence(unsigned type);

struct ControlSequence {
  enum class Fault {
    None,
    NoSequence,  // bytes that begin none, up to where one begins: text, or damage
    Length,      // a length that none can have; the rest of the data isn't understood
    Cut,         // the data end within it
  };
  size_t offset = 0;
  size_t length = 0;  // of all of it, the prefix of an unchained one included
  unsigned code = 0;  // function type as it stands
  std::string_view parameters;
  std::string_view text;  // after the parameters of Unicode Complex Text
  Fault fault = Fault::None;

  // The lowest bit of the code says that the next sequence is chained to this one and
  // has no prefix.
  bool Chained() const { return (code & 1) != 0; }
  unsigned Type() const { return code & ~1u; }
  bool MovesBaseline() const {
    return Type() == ptx::kAbsoluteMoveBaseline || Type() == ptx::kRelativeMoveBaseline ||
           Type() == ptx::kBeginLine;
  }
};

// The signed number that parameters begin with; 0 where there are none.
constexpr int16_t SignedNumber(std::string_view parameters) {
  return static_cast<int16_t>(GetBig(parameters, 0, 2));
}
// Whether parameters begin with the bytes that mean: as if nothing were said.
constexpr bool IsDefault(std::string_view parameters) { return parameters.starts_with("\xFF\xFF"); }

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
