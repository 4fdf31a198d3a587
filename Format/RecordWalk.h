// The bare document in a file whose records are framed ("Record framing" of
// docs/format.md). Sources are those of Format/FieldScan.h.
#pragma once

#include <algorithm>

#include "Format/FieldScan.h"
#include "Format/RecordFraming.h"

namespace kz {

// More line ends than this in a row are no framing.
constexpr int64_t kMostLineEnds = 8;

// What may follow the last record, up to the end of the file: zeros, Ctrl-Z, line ends.
constexpr bool IsFiller(unsigned char byte) {
  return byte == 0 || byte == 0x1A || byte == '\r' || byte == '\n';
}

// Whether a field, or its beginning, is there and in common use.
inline bool IsCommonField(const ScannedField& field) {
  return (field.fault == FieldFault::None || field.fault == FieldFault::CutData) &&
         FindStructuredField(field.code) != nullptr;
}

// The record that may be at a place.
struct FramedRecord {
  bool there = false;  // what frames it can be that, and the source holds all of it
  int64_t begin = 0;   // of its fields, after what stands before them
  int64_t end = 0;
  ScannedField first;  // its first field

  // Whether it begins with a field in common use that isn't longer than itself.
  bool IsCommon() const { return there && IsCommonField(first) && first.End() <= end; }
};

// Passes over line ends; a field whose length looks like one is none.
template <typename Source>
int64_t PassLineEnds(Source& source, int64_t at) {
  for (int64_t passed = 0; passed < kMostLineEnds; ++passed, ++at) {
    const unsigned char* byte = source.At(at, 1);
    if (byte == nullptr || (*byte != '\r' && *byte != '\n')) break;
    if (IsCommonField(ScanField(source, at))) break;
  }
  return at;
}

// Looks at what may be a record. Where line ends separate records, each field counts as
// one, with the line ends before it.
template <typename Source>
FramedRecord RecordAt(Source& source, const Framing& framing, int64_t at) {
  FramedRecord record;
  record.first.fault = FieldFault::Cut;
  const bool counted = framing.records >= RecordFraming::Length16;
  if (!counted) {
    record.begin = PassLineEnds(source, at);
    record.first = ScanField(source, record.begin);
    record.there = record.first.fault == FieldFault::None;
    record.end = record.there ? record.first.End() : record.begin;
    return record;
  }
  const bool word = framing.records != RecordFraming::Length16;
  const size_t size = word ? 4 : 2;
  // A block descriptor word may stand before the record's own.
  const int words = framing.records == RecordFraming::BlockDescriptor ? 2 : 1;
  for (int i = 0; i < words; ++i) {
    const unsigned char* bytes = source.At(at, size);
    if (bytes == nullptr || (word && GetBig16(bytes + 2) != 0)) return {};
    const int64_t length = GetBig16(bytes);
    record.begin = at + static_cast<int64_t>(size);
    record.end = (word || framing.countsItself ? at : record.begin) + length;
    record.there = record.end >= record.begin && record.end <= source.Size();
    record.first = ScanField(source, std::min(record.begin, source.Size()));
    if (record.first.fault == FieldFault::None || record.first.fault == FieldFault::CutData) break;
    at = record.begin;
  }
  return record;
}

// A part of the bare document.
struct DocumentPiece {
  int64_t begin = 0;
  int64_t end = 0;
  bool lost = false;  // the framing breaks off here: the bytes as they are, up to the next record
};

// The parts of a file that are the bare document, in their order.
template <typename Source>
class RecordWalk {
 public:
  RecordWalk(Source& source, const Framing& framing)
      : m_source(source), m_framing(framing), m_at(framing.leading) {}

  // The next part, which may be empty. False after the last one.
  bool Next(DocumentPiece& piece) {
    if (m_at >= m_source.Size()) return false;
    const FramedRecord record = RecordAt(m_source, m_framing, m_at);
    if (m_framing.records == RecordFraming::None) {
      piece = {m_at, m_source.Size()};
    } else if (IsFilled(record) || (record.there && IsFollowed(record))) {
      // With a record after it, what is wrong in this one is no fault of the framing.
      piece = {record.begin, record.end};
    } else if (IsFillerFrom(m_at, m_source.Size())) {
      m_at = m_source.Size();
      return false;
    } else {
      const bool separated = m_framing.records < RecordFraming::Length16;
      const int64_t from = separated ? record.begin : m_at;
      const int64_t next = FindRecord(from + 1);
      const bool cut = next == m_source.Size() && IsCommonField(record.first);
      piece = {cut ? record.begin : from, next, !cut};
    }
    m_at = piece.end;
    return true;
  }

 private:
  // Whether the record is nothing but fields.
  bool IsFilled(const FramedRecord& record) {
    if (!record.there || record.first.fault != FieldFault::None) return false;
    if (record.first.End() == record.end) return true;
    FieldWalk<Source> walk(m_source, record.begin, record.end);
    ScannedField field;
    while (walk.Next(field)) {
    }
    return field.fault == FieldFault::None;
  }

  // Whether another record or the end of the file comes after one.
  bool IsFollowed(const FramedRecord& record) {
    return record.end == m_source.Size() || RecordAt(m_source, m_framing, record.end).IsCommon();
  }

  bool IsFillerFrom(int64_t at, int64_t end) {
    constexpr int64_t most = 4096;
    while (at < end) {
      const auto count = static_cast<size_t>(std::min(end - at, most));
      const unsigned char* bytes = m_source.At(at, count);
      if (bytes == nullptr || !std::all_of(bytes, bytes + count, IsFiller)) return false;
      at += static_cast<int64_t>(count);
    }
    return true;
  }

  // Where the next record begins that is nothing but fields, with another one or what
  // may be filler after it.
  int64_t FindRecord(int64_t at) {
    constexpr int64_t enough = 16;
    for (; at < m_source.Size(); ++at) {
      const FramedRecord record = RecordAt(m_source, m_framing, at);
      if (!record.IsCommon() || !IsFilled(record)) continue;
      const int64_t end = std::min(record.end + enough, m_source.Size());
      if (IsFollowed(record) || IsFillerFrom(record.end, end)) return at;
    }
    return m_source.Size();
  }

  Source& m_source;
  Framing m_framing;
  int64_t m_at;
};

}  // namespace kz
