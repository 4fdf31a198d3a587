#include "Toolkit/Documents/ImageSegment.h"

#include <algorithm>

namespace kz {

Outcome ImageSegment::Take(unsigned char* to, size_t count) {
  while (count > 0) {
    if (m_bare) {
      m_fieldLeft = m_file.Size() - m_at;
    } else if (m_fieldLeft == 0) {
      const ScannedField field = ScanField(m_file, m_at);
      const bool named = field.fault == FieldFault::None || field.fault == FieldFault::CutData;
      if (!named || field.code != sf::kImagePictureData) break;
      m_at = field.DataOffset();
      m_fieldLeft = std::min<int64_t>(field.DataLength(), m_file.Size() - m_at);
      if (m_fieldLeft == 0 && field.DataLength() == 0) continue;
    }
    const auto n = static_cast<size_t>(std::min<int64_t>(
        {static_cast<int64_t>(count), m_fieldLeft, static_cast<int64_t>(FileWindow::kMaxBytes)}));
    if (n == 0) break;
    if (to != nullptr) {
      const unsigned char* bytes = m_file.At(m_at, n);
      if (bytes == nullptr) break;
      to = std::copy_n(bytes, n, to);
    }
    m_at += static_cast<int64_t>(n);
    m_fieldLeft -= static_cast<int64_t>(n);
    count -= n;
  }
  return count == 0 ? Outcome{} : Failure(K_ERROR_READ);
}

Outcome ImageSegment::NextField() {
  unsigned char bytes[kMaxSelfDefiningHeader];
  constexpr unsigned shortest = 2;
  Outcome outcome = Take(bytes, shortest);
  if (!outcome.Ok()) return outcome;
  const unsigned length = HeaderLengthFrom(bytes[0]);
  outcome = Take(bytes + shortest, length - shortest);
  if (!outcome.Ok()) return outcome;
  m_header = *ParseSelfDefiningHeader({bytes, length});
  if (m_header.id == sdf::kImageData) {
    m_dataLeft = m_header.length;
    return {};
  }
  const SelfDefiningFieldRow* row = FindSelfDefiningField(m_header.id);
  if (row == nullptr || !TakesLength(*row, m_header.length) ||
      m_header.length > sizeof(m_parameters)) {
    return Failure(K_ERROR_INVALID_FORMAT);
  }
  std::fill(std::begin(m_parameters), std::end(m_parameters), uint8_t{0});
  outcome = Take(m_parameters, m_header.length);
  if (!outcome.Ok()) return outcome;
  const bool taken = TakesValues(*row, {m_parameters, m_header.length});
  return taken ? Outcome{} : Failure(K_ERROR_INVALID_FORMAT);
}

Outcome ImageSegment::FindImageData(StoredLayout& layout) {
  for (;;) {
    Outcome outcome = NextField();
    if (!outcome.Ok() || m_header.id == sdf::kImageData) return outcome;
    if (m_header.id == sdf::kImageEncoding) {
      layout.unpaddedRows = m_parameters[1] == kRecordingUnpaddedRidic;
      layout.reversedBits = m_parameters[2] == 1;
    } else if (m_header.id == sdf::kIdeStructure) {
      constexpr unsigned subtractiveOrGrayCoded = 0xC0;
      layout.markedSamples = (m_parameters[0] & subtractiveOrGrayCoded) != 0;
    }
  }
}

Outcome ImageSegment::Read(unsigned char* to, size_t count, size_t& got) {
  got = 0;
  while (got < count && m_header.id == sdf::kImageData) {
    const size_t n = std::min(m_dataLeft, count - got);
    Outcome outcome = n > 0 ? Take(to, n) : NextField();
    if (!outcome.Ok()) return outcome;
    if (n == 0) continue;
    m_dataLeft -= n;
    got += n;
    if (to != nullptr) to += n;
  }
  return {};
}

}  // namespace kz
