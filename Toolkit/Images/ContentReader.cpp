#include "Toolkit/Images/ContentReader.h"

#include <algorithm>
#include <cstring>

#include "Format/FieldScan.h"

namespace kz {

ContentReader::ContentReader(FileWindow& file, const PicturePlace& picture)
    : m_file(file),
      m_bare(picture.container == Container::Ioca),
      m_end(std::min(picture.bytes.end, file.Size())),
      m_at(picture.contentField),
      m_partEnd(m_bare ? std::max(m_end, m_at) : m_at),
      m_next(picture.contentField) {
  if (!m_bare && NextPart()) m_at += std::min<int64_t>(picture.contentSkip, LeftInPart());
}

bool ContentReader::NextPart() {
  m_at = m_partEnd;
  while (!m_bare && m_next < m_end) {
    const ScannedField field = ScanField(m_file, m_next);
    // What the file's end cuts off, or the next sound field, has data nevertheless.
    const bool known = field.fault == FieldFault::None || field.fault == FieldFault::CutData ||
                       field.fault == FieldFault::Length;
    if (!known) return false;
    if (field.code != sf::kImagePictureData && field.code != sf::kNoOperation) return false;
    if (field.DataOffset() > m_end) return false;
    const bool whole = field.fault == FieldFault::None && field.End() <= m_end;
    m_next = whole ? field.End() : m_end;
    if (field.code == sf::kNoOperation) continue;
    m_at = field.DataOffset();
    m_partEnd = whole ? m_next - PaddingOf(m_file, field) : m_end;
    return true;
  }
  return false;
}

bool ContentReader::More() {
  while (m_at >= m_partEnd) {
    if (!NextPart()) return false;
  }
  return true;
}

ByteSpan ContentReader::Peek(size_t count) {
  const auto n = static_cast<size_t>(std::min<int64_t>(LeftInPart(), static_cast<int64_t>(count)));
  const unsigned char* bytes = m_file.At(m_at, n);
  return bytes != nullptr ? ByteSpan(bytes, n) : ByteSpan();
}

size_t ContentReader::Read(unsigned char* to, size_t count) {
  size_t got = 0;
  while (got < count && More()) {
    const ByteSpan bytes = Peek(std::min(count - got, size_t{FileWindow::kMaxBytes}));
    if (bytes.empty()) break;
    std::memcpy(to + got, bytes.data(), bytes.size());
    m_at += static_cast<int64_t>(bytes.size());
    got += bytes.size();
  }
  return got;
}

int64_t ContentReader::Append(std::vector<unsigned char>* to, int64_t count) {
  int64_t got = 0;
  while (got < count && More()) {
    int64_t n = std::min(count - got, LeftInPart());
    if (to != nullptr) {
      const ByteSpan bytes =
          Peek(static_cast<size_t>(std::min<int64_t>(n, int64_t{FileWindow::kMaxBytes})));
      if (bytes.empty()) break;
      to->insert(to->end(), bytes.begin(), bytes.end());
      n = static_cast<int64_t>(bytes.size());
    }
    m_at += n;
    got += n;
  }
  return got;
}

}  // namespace kz
