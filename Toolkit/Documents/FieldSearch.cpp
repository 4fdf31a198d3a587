#include "Toolkit/Documents/FieldSearch.h"

#include <algorithm>
#include <cstring>

#include "Format/FieldScan.h"

namespace kz {

namespace {

// Candidates begin in the first half of a piece, so that a chain of fields, each of 32 KiB
// at most, has room in it.
constexpr size_t kStep = size_t{128} * 1024;
constexpr size_t kPiece = 2 * kStep;
constexpr int kChain = 3;

bool IsPlausible(const MemorySource& piece, int64_t at, bool lastPiece) {
  for (int i = 0; i < kChain; ++i) {
    if (at == piece.Size() && i > 0 && lastPiece) return true;
    const ScannedField field = ScanField(piece, at);
    if (field.fault != FieldFault::None || FindStructuredField(field.code) == nullptr) return false;
    // What stands after a document may be padding.
    if (field.code == sf::kEndDocument && i > 0) return true;
    at = field.End();
  }
  return true;
}

}  // namespace

bool FieldSearch::Read(int64_t start) {
  if (!m_bytes) m_bytes = std::make_unique_for_overwrite<unsigned char[]>(kPiece);
  const int64_t read = ReadFully(m_file.Descriptor(), start, m_bytes.get(), kPiece);
  m_start = start;
  m_count = static_cast<size_t>(std::max<int64_t>(read, 0));
  return m_count > 0;
}

// As Find, among those that begin in the piece's first half; -1 for none.
int64_t FieldSearch::FindInPiece(int64_t from) const {
  const MemorySource piece({m_bytes.get(), m_count});
  const bool last = m_start + piece.Size() >= m_file.Size();
  const size_t candidates = std::min(m_count, kStep);
  for (auto at = static_cast<size_t>(from - m_start); at < candidates;) {
    // The class code stands after a 0x5A, if there is one, and the length.
    constexpr size_t before = 2;
    if (at + before >= m_count) break;
    const void* found =
        std::memchr(m_bytes.get() + at + before, kFieldClass, m_count - at - before);
    if (found == nullptr) break;
    const size_t field =
        static_cast<size_t>(static_cast<const unsigned char*>(found) - m_bytes.get()) - before;
    for (size_t start = field > at ? field - 1 : field; start <= field; ++start) {
      if (start >= candidates) continue;
      const bool prefixed = m_bytes[start] == kCarriageControl;
      if (prefixed == (start < field) && IsPlausible(piece, static_cast<int64_t>(start), last)) {
        return m_start + static_cast<int64_t>(start);
      }
    }
    at = field + 1;
  }
  return -1;
}

int64_t FieldSearch::Find(int64_t from, int64_t limit) {
  constexpr auto step = static_cast<int64_t>(kStep);
  const bool there = m_count > 0 && from >= m_start && from < m_start + step;
  if (!there && !Read(from)) return m_file.Size();
  for (;;) {
    const int64_t found = FindInPiece(from);
    if (found >= 0) return found;
    from = m_start + step;
    if (from >= std::min(limit, m_file.Size()) || !Read(from)) return m_file.Size();
  }
}

}  // namespace kz
