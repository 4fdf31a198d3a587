// Structured fields one after the other, in whatever holds a file's bytes
// ("Structured fields" of docs/format.md).
#pragma once

#include <algorithm>
#include <cstdint>

#include "Format/StructuredField.h"

namespace kz {

// A field of a file. Everything may be said of it without a fault and with CutData.
struct ScannedField : Introducer {
  int64_t offset = 0;  // of the 0x5A, or of the length bytes without one

  constexpr int64_t DataOffset() const { return offset + HeadLength(); }
  constexpr int64_t End() const { return offset + (prefixed ? 1 : 0) + length; }
};

// A Source holds bytes: `Size()` of them, and `At(offset, count)` gives some, or null
// when they can't be read; they stay until the next call.

// A source in memory, for whose lifetime the bytes must stay.
class MemorySource {
 public:
  explicit constexpr MemorySource(ByteSpan bytes) : m_bytes(bytes) {}
  constexpr int64_t Size() const { return static_cast<int64_t>(m_bytes.size()); }
  constexpr const unsigned char* At(int64_t offset, size_t count) const {
    const bool there =
        offset >= 0 && offset <= Size() && count <= m_bytes.size() - static_cast<size_t>(offset);
    return there ? m_bytes.data() + offset : nullptr;
  }

 private:
  ByteSpan m_bytes;
};

// Looks at the field at an offset from 0 to the source's size.
template <typename Source>
ScannedField ScanField(Source& source, int64_t offset) {
  const auto room =
      static_cast<size_t>(std::clamp<int64_t>(source.Size() - offset, 0, int64_t{kIntroducerRoom}));
  const unsigned char* bytes = source.At(offset, room);
  ScannedField field;
  if (bytes != nullptr) static_cast<Introducer&>(field) = ParseField({bytes, room});
  field.offset = offset;
  if (field.fault == FieldFault::None && field.End() > source.Size()) {
    field.fault = FieldFault::CutData;
  }
  return field;
}

// The fields of a part of a source.
template <typename Source>
class FieldWalk {
 public:
  // From a field that begins at `begin` up to `end`.
  FieldWalk(Source& source, int64_t begin, int64_t end)
      : m_source(source), m_at(begin), m_end(end) {}
  explicit FieldWalk(Source& source) : FieldWalk(source, 0, source.Size()) {}

  // The next field. False at the end, where `field.fault` is None, and at a field with a
  // fault, which may be that it goes beyond the end: the walk stays there.
  bool Next(ScannedField& field) {
    if (m_at >= m_end) {
      field = {};
      field.fault = FieldFault::None;
      return false;
    }
    field = ScanField(m_source, m_at);
    if (field.fault == FieldFault::None && field.End() > m_end) field.fault = FieldFault::CutData;
    if (field.fault != FieldFault::None) return false;
    m_at = field.End();
    return true;
  }
  // Where the next field begins.
  int64_t At() const { return m_at; }

 private:
  Source& m_source;
  int64_t m_at;
  int64_t m_end;
};

// The data of a field without a fault; empty when they can't be read.
template <typename Source>
ByteSpan DataOf(Source& source, const ScannedField& field) {
  const unsigned char* data = source.At(field.DataOffset(), field.DataLength());
  return data != nullptr ? ByteSpan(data, field.DataLength()) : ByteSpan();
}

// Bytes of padding at the end of the field's data. Its last byte has their count if it is
// below 256, else it is 0 and two bytes with the count stand before it.
template <typename Source>
unsigned PaddingOf(Source& source, const ScannedField& field) {
  constexpr unsigned longest = 3;
  if ((field.flags & kFlagPadded) == 0 || field.DataLength() == 0) return 0;
  const unsigned room = std::min(field.DataLength(), longest);
  const unsigned char* end = source.At(field.DataOffset() + field.DataLength() - room, room);
  if (end == nullptr) return 0;
  const unsigned last = end[room - 1];
  const unsigned count = last == 0 && room == longest ? GetBig16(end) : last;
  return count <= field.DataLength() ? count : 0;
}

}  // namespace kz
