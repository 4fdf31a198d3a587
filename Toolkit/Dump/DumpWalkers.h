// The parts of a dump: what is inside structured fields.
#pragma once

#include <string>
#include <string_view>

#include "Format/BigEndian.h"
#include "Toolkit/Dump/Dump.h"
#include "Toolkit/Files/FileWindow.h"

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

// Data that aren't in words are shown up to here.
constexpr size_t kShownBytes = 16;

// Hexadecimal digits of at most `most` bytes, "..." for the rest.
std::string Hex(std::string_view bytes, size_t most = kShownBytes);
// Two hexadecimal digits for each of the number's low bytes, of which it has up to four.
std::string HexNumber(uint32_t value, unsigned bytes);

// Fills in what the data of a structured field say.
void DescribeFieldData(uint16_t code, std::string_view data, DumpStream& stream, DumpEvent& event);

// The self-defining fields of one image segment, which comes in parts.
class SegmentWalker {
 public:
  SegmentWalker(FileWindow& file, DumpStream& stream, int depth)
      : m_file(file), m_stream(stream), m_depth(depth) {}
  // Dumps the next part of the segment: bytes of the file from `at` up to `end`.
  void Walk(int64_t at, int64_t end);
  // The segment is over at the offset. Reports what is missing.
  void Finish(int64_t offset);

 private:
  ByteSpan Field() const;
  size_t Missing() const;
  void Complete();

  FileWindow& m_file;
  DumpStream& m_stream;
  const int m_depth;
  std::string m_field;   // what has been read of the field that has begun
  int64_t m_offset = 0;  // of the field, or of the bytes past the end
  int64_t m_skip = 0;    // image data still to come
  int64_t m_past = 0;    // bytes past End Segment
  int m_problems = 0;
  bool m_begun = false;
  bool m_ended = false;
};

// The control sequences of one Presentation Text Data field (PTOCA).
void DumpPresentationText(std::string_view data, int64_t offset, int depth, DumpStream& stream);

}  // namespace kz
