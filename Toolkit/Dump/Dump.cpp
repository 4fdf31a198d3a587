#include "Toolkit/Dump/Dump.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "Format/Container.h"
#include "Format/FieldScan.h"
#include "Toolkit/Base/Printable.h"
#include "Toolkit/Dump/DumpWalkers.h"

namespace kz {

void DumpEvent::Add(const char* value, int64_t number) {
  values.push_back({value, {}, number, true});
}

void DumpEvent::Add(const char* value, std::string words) {
  values.push_back({value, std::move(words), 0, false});
}

void DumpStream::Put(const DumpEvent& event) {
  if (event.kind != DumpKind::Problem) ++m_fields;
  if (!m_ended) m_ended = !m_sink.Take(event);
}

void DumpStream::Problem(int64_t offset, int64_t passed, int depth, std::string what) {
  DumpEvent event;
  event.kind = DumpKind::Problem;
  event.offset = offset;
  event.length = passed;
  event.depth = depth;
  event.name = std::move(what);
  if (passed > 0) {
    event.name += "; " + std::to_string(passed) + (passed == 1 ? " byte is" : " bytes are");
    event.name += " passed over";
  }
  Put(event);
}

std::string DumpStream::Text(std::string_view bytes) {
  return Printable(m_decoder.Decode(bytes), Unprintable::Blank);
}

std::string Hex(std::string_view bytes, size_t most) {
  constexpr char digits[] = "0123456789ABCDEF";
  std::string hex;
  for (const char c : bytes.substr(0, most)) {
    const auto byte = static_cast<unsigned char>(c);
    hex += digits[byte >> 4];
    hex += digits[byte & 0xF];
  }
  if (bytes.size() > most) hex += "...";
  return hex;
}

std::string HexNumber(uint32_t value, unsigned bytes) {
  unsigned char big[sizeof(value)];
  PutBig32(big, value);
  return Hex({reinterpret_cast<const char*>(std::end(big)) - bytes, bytes});
}

namespace {

constexpr int kMaxDepth = 16;

std::string FaultWords(const ScannedField& field) {
  switch (field.fault) {
    case FieldFault::None:
      return {};
    case FieldFault::Cut:
      return "the file ends within an introducer";
    case FieldFault::Class:
      return "no structured field: the class code is " + HexNumber(field.classCode, 1) + ", not " +
             HexNumber(kFieldClass, 1);
    case FieldFault::Length:
      return "no structured field can have the length " + std::to_string(field.length);
    case FieldFault::Extension:
      return "the introducer's extension has a length that it can't have";
    case FieldFault::CutData:
      return "the file ends within the field";
  }
  return {};
}

class FileDumper {
 public:
  FileDumper(FileWindow& file, DumpStream& stream) : m_file(file), m_stream(stream) {}

  void Run() {
    constexpr size_t length = std::size(kBareStart);
    const unsigned char* start = m_file.At(0, length);
    if (start != nullptr && StartsBareImage({start, length})) {
      m_segment = std::make_unique<SegmentWalker>(m_file, m_stream, 0);
      m_segment->Walk(0, m_file.Size());
    } else {
      for (int64_t at = 0; at < m_file.Size() && !m_stream.Ended() && !m_file.Failed();) {
        at = DumpField(ScanField(m_file, at));
      }
    }
    EndSegment(m_file.Size());
  }

 private:
  // Returns where the next field begins.
  int64_t DumpField(const ScannedField& field) {
    const bool readable = field.fault == FieldFault::None || field.fault == FieldFault::CutData;
    if (!readable || field.code != sf::kImagePictureData) EndSegment(field.offset);
    if (readable) {
      DumpWhole(field);
    } else if ((field.fault == FieldFault::Length || field.fault == FieldFault::Extension) &&
               FindStructuredField(field.code) != nullptr) {
      // The code may be right nevertheless, and says where things went wrong.
      PutField(field, {});
    }
    if (field.fault == FieldFault::None) return field.End();

    const int64_t next = FindField(field.offset + 1);
    if (field.fault == FieldFault::CutData) {
      const int64_t missing = field.End() - m_file.Size();
      // Either the file was cut or the length is wrong: then fields follow within.
      m_stream.Problem(field.offset, 0, m_depth,
                       FaultWords(field) + ", " + std::to_string(missing) + " bytes are missing" +
                           (next < m_file.Size() ? "; another begins within" : ""));
      return next;
    }
    const bool padding = m_documentEnded && next == m_file.Size();
    m_stream.Problem(field.offset, next - field.offset, m_depth,
                     padding ? "no structured field follows the document" : FaultWords(field));
    return next;
  }

  void DumpWhole(const ScannedField& field) {
    const int64_t begin = field.DataOffset();
    const int64_t end = std::clamp(m_file.Size(), begin, field.End());
    const FieldType type = TypeOf(field.code);
    if (type == FieldType::End && m_depth > 0) --m_depth;
    if (field.code == sf::kImagePictureData) {
      // The data of pictures aren't looked at, so that they needn't be read.
      PutField(field, {});
      if (!m_segment) m_segment = std::make_unique<SegmentWalker>(m_file, m_stream, m_depth + 1);
      m_segment->Walk(begin, end);
    } else {
      const std::string data(BytesAt(begin, end));
      PutField(field, data);
      if (field.code == sf::kPresentationText) {
        DumpPresentationText(data, begin, m_depth + 1, m_stream);
      }
    }
    if (type == FieldType::Begin && m_depth < kMaxDepth) ++m_depth;
    m_documentEnded = field.code == sf::kEndDocument;
  }

  void PutField(const ScannedField& field, std::string_view data) {
    DumpEvent event;
    event.offset = field.offset;
    event.length = field.length;
    event.prefixed = field.prefixed;
    event.depth = m_depth;
    event.identifier = HexNumber(kFieldClass, 1) + HexNumber(field.code, 2);
    if (const StructuredFieldRow* row = FindStructuredField(field.code)) {
      event.acronym = row->acronym;
      event.name = row->words;
    }
    if ((field.flags & kFlagExtension) != 0) event.flags.emplace_back("extension");
    if ((field.flags & kFlagSegmented) != 0) event.flags.emplace_back("segmented");
    if ((field.flags & kFlagPadded) != 0) event.flags.emplace_back("padded");
    if (field.extension > 1) {
      const unsigned length = field.extension - 1;
      event.extension = Hex(BytesAt(field.DataOffset() - length, field.DataOffset()), length);
    }
    DescribeFieldData(field.code, data, m_stream, event);
    m_stream.Put(event);
  }

  void EndSegment(int64_t offset) {
    if (m_segment) m_segment->Finish(offset);
    m_segment.reset();
  }

  // Bytes of one field, which stay until the next are read; none when they can't be.
  std::string_view BytesAt(int64_t begin, int64_t end) {
    const auto count = static_cast<size_t>(end - begin);
    const auto* bytes = reinterpret_cast<const char*>(m_file.At(begin, count));
    return bytes != nullptr ? std::string_view(bytes, count) : std::string_view();
  }

  // Where a field begins that has a known code, a length that the file has room for
  // and another field, or the end of the file, after it.
  int64_t FindField(int64_t from) {
    constexpr auto step = static_cast<int64_t>(FileWindow::kMaxBytes);
    for (int64_t at = from; at < m_file.Size() && !m_stream.Ended();) {
      const int64_t end = std::min(at + step, m_file.Size());
      const size_t found = BytesAt(at, end).find(static_cast<char>(kFieldClass));
      if (found == std::string_view::npos) {
        at = end;
        continue;
      }
      const int64_t classCode = at + static_cast<int64_t>(found);
      // After the two length bytes, and perhaps a 0x5A before them.
      for (const int64_t start : {classCode - 3, classCode - 2}) {
        if (start >= from && Plausible(start)) return start;
      }
      at = classCode + 1;
    }
    return m_file.Size();
  }

  bool Plausible(int64_t at) {
    const ScannedField field = ScanField(m_file, at);
    if (field.fault != FieldFault::None || FindStructuredField(field.code) == nullptr) {
      return false;
    }
    return field.End() == m_file.Size() || ScanField(m_file, field.End()).fault == FieldFault::None;
  }

  FileWindow& m_file;
  DumpStream& m_stream;
  std::unique_ptr<SegmentWalker> m_segment;  // while the fields of an image follow each other
  int m_depth = 0;
  bool m_documentEnded = false;
};

}  // namespace

Outcome DumpFile(const std::string& file, const DumpOptions& options, DumpSink& sink) {
  TextDecoder decoder;
  FileWindow window;
  Outcome outcome = decoder.Open(options.encoding);
  if (outcome.Ok()) outcome = window.Open(file);
  if (!outcome.Ok()) return outcome;
  DumpStream stream(sink, decoder);
  if (window.Size() == 0) stream.Problem(0, 0, 0, "the file is empty");
  FileDumper(window, stream).Run();
  if (window.Failed()) return Failure(K_ERROR_READ, "the file can't be read");
  if (window.Size() == 0) return Failure(K_ERROR_READ, "the file is empty");
  if (stream.Fields() > 0 || stream.Ended()) return {};
  return Failure(K_ERROR_INVALID_FORMAT, "this is neither an IOCA image nor a MO:DCA document");
}

}  // namespace kz
