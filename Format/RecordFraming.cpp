#include "Format/FramingSearch.h"

#include <algorithm>

#include "Format/RecordWalk.h"

namespace kz {

namespace {

// As many records as a framing is believed for.
constexpr int kRecordsToSee = 4;
// What frames a record and the introducer of its field have no more bytes than this.
constexpr int64_t kHeadRoom = kMostLineEnds + kIntroducerRoom;

// A file of which the beginning is known.
class StartOfFile {
 public:
  StartOfFile(ByteSpan bytes, int64_t size) : m_bytes(bytes), m_size(size) {}
  int64_t Size() const { return m_size; }
  const unsigned char* At(int64_t offset, size_t count) const {
    return MemorySource(m_bytes).At(offset, count);
  }
  // Whether the head of a record that begins there isn't known, or nothing but filler is.
  bool Ends(int64_t at) const {
    const auto known = static_cast<int64_t>(m_bytes.size());
    if (known < m_size && at + kHeadRoom > known) return true;
    const auto from = m_bytes.begin() + std::min(at, known);
    return std::all_of(from, from + std::min(known - at, kHeadRoom), IsFiller);
  }

 private:
  ByteSpan m_bytes;
  int64_t m_size;
};

// Whether records that stand one after the other are all that is known of the file, or
// as many as are enough.
bool IsChain(StartOfFile& file, const Framing& framing) {
  int64_t at = framing.leading;
  for (int records = 0; records < kRecordsToSee; ++records) {
    const FramedRecord record = RecordAt(file, framing, at);
    if (!record.IsCommon()) return records > 1 && file.Ends(at);
    at = record.end;
  }
  return true;
}

// How the fields from `leading` on are separated. Only the line ends between two fields
// tell: those after the last one may be filler.
Framing FindLineEnds(StartOfFile& file, int64_t leading) {
  Framing framing{RecordFraming::None, false, leading};
  RecordFraming found = RecordFraming::None;
  int separators = 0;
  int64_t at = leading;
  for (int fields = 0;; ++fields) {
    const FramedRecord record = RecordAt(file, framing, at);
    if (!record.IsCommon()) {
      const bool ends = fields > 1 && file.Ends(at);
      if (!ends && fields < kRecordsToSee) return {};
      // A document with damage in it isn't framed by one line end.
      if (ends || separators > 1) framing.records = found;
      return framing;
    }
    if (fields > 0 && record.begin > at) {
      if (separators == 0)
        found = *file.At(at, 1) == '\r' ? RecordFraming::CrLf : RecordFraming::Lf;
      ++separators;
    }
    if (separators == kRecordsToSee) {
      framing.records = found;
      return framing;
    }
    at = record.end;
  }
}

}  // namespace

Framing FindFraming(ByteSpan start, int64_t size) {
  StartOfFile file(start, size);
  const int64_t leading = PassLineEnds(file, 0);
  if (IsCommonField(ScanField(file, std::min(leading, size)))) return FindLineEnds(file, leading);
  for (const int64_t begin : {int64_t{0}, leading}) {
    for (const Framing& framing : {Framing{RecordFraming::Length16, false, begin},
                                   Framing{RecordFraming::Length16, true, begin},
                                   Framing{RecordFraming::RecordDescriptor, false, begin},
                                   Framing{RecordFraming::BlockDescriptor, false, begin}}) {
      if (IsChain(file, framing)) return framing;
    }
  }
  return {};
}

}  // namespace kz
