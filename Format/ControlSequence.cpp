// Control sequences ("Presentation text" of docs/format.md).
#include "Format/ControlSequence.h"

#include <algorithm>
#include <iterator>

#include "Format/BigEndian.h"

namespace kz {

namespace {

// Length and function type.
constexpr size_t kHeader = 2;

using enum SequenceParameters;

// Names and acronyms are those of the PTOCA reference.
constexpr ControlSequenceRow kSequences[] = {
    {ptx::kUnicodeText, "UCT", "Unicode Complex Text", Bytes},
    {0x6C, "GLC", "Glyph Layout Control", Bytes},
    {0x72, "OVS", "Overstrike", Bytes},
    {ptx::kSetTextColor, "STC", "Set Text Color", Bytes},
    {ptx::kUnderscore, "USC", "Underscore", Bytes},
    {ptx::kTemporaryMove, "TBM", "Temporary Baseline Move", Bytes},
    {ptx::kSetExtendedColor, "SEC", "Set Extended Text Color", Bytes},
    {0x8A, "GIR", "Glyph ID Run", Bytes},
    {0x8C, "GAR", "Glyph Advance Run", Bytes},
    {0x8E, "GOR", "Glyph Offset Run", Bytes},
    {0x98, "ENC", "Encrypted Data", Bytes},
    {0x9A, "SKI", "Set Key Information", Bytes},
    {0x9C, "SEA", "Set Encrypted Alternate", Bytes},
    {ptx::kSetInlineMargin, "SIM", "Set Inline Margin", Number},
    {ptx::kSetAdjustment, "SIA", "Set Intercharacter Adjustment", Bytes},
    {ptx::kSetVariableSpace, "SVI", "Set Variable Space Character Increment", Number},
    {ptx::kAbsoluteMoveInline, "AMI", "Absolute Move Inline", Number},
    {ptx::kRelativeMoveInline, "RMI", "Relative Move Inline", Number},
    {ptx::kSetBaselineIncrement, "SBI", "Set Baseline Increment", Number},
    {ptx::kAbsoluteMoveBaseline, "AMB", "Absolute Move Baseline", Number},
    {ptx::kRelativeMoveBaseline, "RMB", "Relative Move Baseline", Number},
    {ptx::kBeginLine, "BLN", "Begin Line", Bytes},
    {ptx::kTransparentData, "TRN", "Transparent Data", Text},
    {ptx::kInlineRule, "DIR", "Draw I-axis Rule", Number},
    {ptx::kBaselineRule, "DBR", "Draw B-axis Rule", Number},
    {ptx::kRepeatString, "RPS", "Repeat String", Bytes},
    {ptx::kSetFont, "SCFL", "Set Coded Font Local", Number},
    {0xF2, "BSU", "Begin Suppression", Number},
    {0xF4, "ESU", "End Suppression", Number},
    {ptx::kSetOrientation, "STO", "Set Text Orientation", Orientations},
    {0xF8, "NOP", "No Operation", Bytes},
};

}  // namespace

const ControlSequenceRow* FindControlSequence(unsigned type) {
  const auto* row =
      std::find_if(std::begin(kSequences), std::end(kSequences),
                   [type](const ControlSequenceRow& known) { return known.type == type; });
  return row != std::end(kSequences) ? row : nullptr;
}

bool ControlSequences::Next(ControlSequence& sequence) {
  if (m_at == m_data.size()) return false;
  sequence = {};
  sequence.offset = m_at;
  const std::string_view rest = m_data.substr(m_at);
  // A chained sequence can't begin like this: a move has no 43 bytes.
  const bool prefixed = rest.starts_with(kSequencePrefix);
  const size_t prefix = m_chained && !prefixed ? 0 : kSequencePrefix.size();
  m_chained = false;
  if (prefix != 0 && !prefixed) {
    sequence.fault = ControlSequence::Fault::NoSequence;
    sequence.length = std::min(rest.find(kSequencePrefix), rest.size());
    m_at += sequence.length;
    return true;
  }
  const size_t length = rest.size() > prefix ? static_cast<unsigned char>(rest[prefix]) : 0;
  if (length < kHeader || rest.size() < prefix + kHeader) {
    sequence.fault = ControlSequence::Fault::Length;
    sequence.length = rest.size();
    m_at = m_data.size();
    return true;
  }
  sequence.code = static_cast<unsigned char>(rest[prefix + 1]);
  sequence.parameters = rest.substr(prefix + kHeader, length - kHeader);
  sequence.length = prefix + length;
  if (sequence.Type() == ptx::kUnicodeText && sequence.length < rest.size()) {
    constexpr size_t textLength = 2;
    const auto text = static_cast<size_t>(GetBig(sequence.parameters, textLength, 2));
    sequence.text = rest.substr(sequence.length, text);
    sequence.length += text;
  }
  if (sequence.length > rest.size()) {
    sequence.fault = ControlSequence::Fault::Cut;
    sequence.length = rest.size();
  }
  m_chained = sequence.Chained();
  m_at += sequence.length;
  return true;
}

}  // namespace kz
