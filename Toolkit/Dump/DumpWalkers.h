// The parts of a dump: what is inside structured fields.
#pragma once

#include <string>
#include <string_view>

#include "Format/FieldScan.h"
#include "Toolkit/Dump/Dump.h"

namespace kz {

// Hands events on, until the sink has enough.
class DumpStream {
 public:
  DumpStream(DumpSink& sink, TextDecoder& decoder) : m_sink(sink), m_decoder(decoder) {}
  void Put(const DumpEvent& event);
  // Puts a problem: `passed` bytes from the offset on weren't understood.
  void Problem(int64_t offset, int64_t passed, int depth, std::string what);
  // Text of the document on one line.
  std::string Text(std::string_view bytes);
  bool Ended() const { return m_ended; }
  int Fields() const { return m_fields; }

 private:
  DumpSink& m_sink;
  TextDecoder& m_decoder;
  bool m_ended = false;
  int m_fields = 0;
};

// Hexadecimal digits of at most `most` bytes, "..." for the rest.
std::string Hex(std::string_view bytes, size_t most = SIZE_MAX);
int64_t Big(std::string_view bytes, size_t at, size_t count);

// Fills in what the data of a structured field say.
void DescribeFieldData(uint16_t code, std::string_view data, DumpStream& stream, DumpEvent& event);

// The self-defining fields of one image segment, which comes in parts.
class SegmentWalker {
 public:
  explicit SegmentWalker(DumpStream& stream) : m_stream(stream) {}
  // The next part of the segment, which stands at the offset of the file.
  void Feed(std::string_view bytes, int64_t offset, int depth);
  // Bytes that the next part may begin with without anyone looking at them.
  int64_t Unread() const { return m_skip; }
  void Skip(int64_t count) { m_skip -= count; }
  // The segment is over. Reports what is missing and starts anew.
  void Finish(int64_t offset);

 private:
  size_t Wanted() const;
  void Complete(int depth);
  void CheckField(DumpEvent& event, int depth);

  DumpStream& m_stream;
  std::string m_field;   // of the field that has begun
  int64_t m_offset = 0;  // of the field
  int64_t m_skip = 0;    // image data still to come
  int m_depth = 0;
  int m_problems = 0;
  bool m_begun = false;
  bool m_ended = false;
  int64_t m_behind = 0;  // bytes behind End Segment
};

// The control sequences of one Presentation Text Data field (PTOCA).
void DumpPresentationText(std::string_view data, int64_t offset, int depth, DumpStream& stream);

}  // namespace kz
