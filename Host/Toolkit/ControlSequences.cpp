#include "Host/Toolkit/ControlSequences.h"

#include <algorithm>

namespace kz {

namespace {
// Prefix and class of a control sequence that isn't chained to the one before.
constexpr std::string_view kPrefix("\x2B\xD3", 2);
// Length and function type.
constexpr size_t kHeader = 2;
}  // namespace

bool ControlSequences::Next(ControlSequence& sequence) {
  if (m_at == m_data.size()) return false;
  sequence = {};
  sequence.offset = m_at;
  const std::string_view rest = m_data.substr(m_at);
  const size_t prefix = m_chained ? 0 : kPrefix.size();
  m_chained = false;
  if (prefix != 0 && !rest.starts_with(kPrefix)) {
    sequence.fault = ControlSequence::Fault::NoSequence;
    sequence.length = std::min(rest.find(kPrefix), rest.size());
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
  if (sequence.length > rest.size()) {
    sequence.fault = ControlSequence::Fault::Cut;
    sequence.length = rest.size();
  }
  m_chained = sequence.Chained();
  m_at += sequence.length;
  return true;
}

}  // namespace kz
