#include "Toolkit/Dump/Dump.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "Format/StructuredField.h"
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

int64_t Big(std::string_view bytes, size_t at, size_t count) {
  int64_t value = 0;
  for (const char c : bytes.substr(at, count)) value = value << 8 | static_cast<unsigned char>(c);
  return value;
}

namespace {

// Begin Segment without a name, Begin Image Content.
constexpr std::string_view kBareStart("\x70\x00\x91\x01\xFF", 5);
constexpr int kMaxDepth = 16;

std::string FaultWords(const ScannedField& field) {
  switch (field.fault) {
    case FieldFault::None:
      return {};
    case FieldFault::Cut:
      return "the file ends within an introducer";
    case FieldFault::Class: {
      const char classCode = static_cast<char>(field.identifier >> 16);
      return "no structured field: the class code is " + Hex({&classCode, 1}) + ", not D3";
    }
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
  FileDumper(FileWindow& file, DumpStream& stream)
      : m_file(file), m_stream(stream), m_segment(stream) {}

  void Run() {
    if (StartsBare()) {
      DumpSegment(0, m_file.Size(), 0);
      m_segment.Finish(m_file.Size());
      return;
    }
    for (int64_t at = 0; at < m_file.Size() && !m_stream.Ended() && !m_file.Failed();) {
      at = DumpField(ScanField(m_file, at));
    }
    if (m_inSegment) m_segment.Finish(m_file.Size());
  }

 private:
  bool StartsBare() {
    const unsigned char* start = m_file.At(0, kBareStart.size());
    return start != nullptr && std::memcmp(start, kBareStart.data(), kBareStart.size()) == 0;
  }

  // Returns where the next field begins.
  int64_t DumpField(const ScannedField& field) {
    const bool readable = field.fault == FieldFault::None || field.fault == FieldFault::CutData;
    const bool pictureData = readable && field.code == sf::kImagePictureData;
    if (m_inSegment && !pictureData) {
      m_segment.Finish(field.offset);
      m_inSegment = false;
    }
    switch (field.fault) {
      case FieldFault::None:
      case FieldFault::CutData:
        DumpWhole(field);
        break;
      case FieldFault::Length:
      case FieldFault::Extension:
        // The identifier may be right nevertheless, and says where things went wrong.
        if (FindStructuredField(field.code) != nullptr) PutField(field, {});
        break;
      case FieldFault::Cut:
      case FieldFault::Class:
        break;
    }
    if (field.fault == FieldFault::None) return field.End();
    if (field.fault == FieldFault::CutData) {
      const int64_t missing = field.End() - m_file.Size();
      // Either the file was cut or the length is wrong: then fields follow within.
      const int64_t next = FindField(field.offset + 1);
      m_stream.Problem(field.offset, 0, m_depth,
                       FaultWords(field) + ", " + std::to_string(missing) + " bytes are missing" +
                           (next < m_file.Size() ? "; another begins within" : ""));
      return next;
    }
    const int64_t next = FindField(field.offset + 1);
    const bool padding = m_documentEnded && next == m_file.Size();
    m_stream.Problem(field.offset, next - field.offset, m_depth,
                     padding ? "no structured field follows the document" : FaultWords(field));
    return next;
  }

  void DumpWhole(const ScannedField& field) {
    const auto available = static_cast<size_t>(
        std::min<int64_t>(field.DataLength(), m_file.Size() - field.DataOffset()));
    const unsigned type = field.code >> 8;
    if (type == 0xA9 && m_depth > 0) --m_depth;
    const bool pictureData = field.code == sf::kImagePictureData;
    // The data of pictures aren't looked at here, so that they needn't be read.
    std::string data;
    if (!pictureData) {
      const unsigned char* bytes = m_file.At(field.DataOffset(), available);
      if (bytes != nullptr) data.assign(reinterpret_cast<const char*>(bytes), available);
    }
    PutField(field, data);
    if (pictureData) {
      m_inSegment = true;
      DumpSegment(field.DataOffset(), field.DataOffset() + static_cast<int64_t>(available),
                  m_depth + 1);
    } else if (field.code == sf::kPresentationText) {
      DumpPresentationText(data, field.DataOffset(), m_depth + 1, m_stream);
    }
    if (type == 0xA8 && m_depth < kMaxDepth) ++m_depth;
    m_documentEnded = field.code == sf::kEndDocument;
  }

  void PutField(const ScannedField& field, std::string_view data) {
    DumpEvent event;
    event.offset = field.offset;
    event.length = field.length;
    event.prefixed = field.prefixed;
    event.depth = m_depth;
    constexpr char classCode = static_cast<char>(kFieldClass);
    const char code[] = {classCode, static_cast<char>(field.code >> 8),
                         static_cast<char>(field.code)};
    event.identifier = Hex({code, sizeof(code)});
    if (const StructuredFieldRow* name = FindStructuredField(field.code)) {
      event.acronym = name->acronym;
      event.name = name->words;
    }
    if ((field.flags & kFlagExtension) != 0) event.flags.emplace_back("extension");
    if ((field.flags & 0x20) != 0) event.flags.emplace_back("segmented");
    if ((field.flags & 0x08) != 0) event.flags.emplace_back("padded");
    if (field.extension > 1) {
      const unsigned length = field.extension - 1;
      const unsigned char* bytes = m_file.At(field.DataOffset() - length, length);
      if (bytes != nullptr) event.extension = Hex({reinterpret_cast<const char*>(bytes), length});
    }
    DescribeFieldData(field.code, data, m_stream, event);
    m_stream.Put(event);
  }

  void DumpSegment(int64_t at, int64_t end, int depth) {
    while (at < end && !m_stream.Ended()) {
      const int64_t unread = std::min(m_segment.Unread(), end - at);
      if (unread > 0) {
        m_segment.Skip(unread);
        at += unread;
        continue;
      }
      const auto n = static_cast<size_t>(std::min<int64_t>(end - at, kSegmentStep));
      const unsigned char* bytes = m_file.At(at, n);
      if (bytes == nullptr) return;
      m_segment.Feed({reinterpret_cast<const char*>(bytes), n}, at, depth);
      at += static_cast<int64_t>(n);
    }
  }

  // Where a field begins that has a known identifier, a length that the file has
  // room for and another field, or the end of the file, behind it.
  int64_t FindField(int64_t from) {
    constexpr auto step = static_cast<int64_t>(FileWindow::kMaxBytes);
    for (int64_t at = from; at < m_file.Size() && !m_stream.Ended();) {
      const auto n = static_cast<size_t>(std::min(step, m_file.Size() - at));
      const unsigned char* bytes = m_file.At(at, n);
      const void* found = bytes != nullptr ? std::memchr(bytes, kFieldClass, n) : nullptr;
      if (found == nullptr) {
        at += static_cast<int64_t>(n);
        continue;
      }
      const int64_t classCode = at + (static_cast<const unsigned char*>(found) - bytes);
      // Behind the two length bytes, and perhaps a 0x5A before them.
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

  // Image data aren't read, parameters are short: small steps find their way.
  static constexpr int64_t kSegmentStep = 512;

  FileWindow& m_file;
  DumpStream& m_stream;
  SegmentWalker m_segment;
  int m_depth = 0;
  bool m_inSegment = false;
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
