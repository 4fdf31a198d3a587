// The self-defining fields of an image segment, in words.
#include <algorithm>

#include "Format/Compression.h"
#include "Format/SelfDefiningField.h"
#include "Toolkit/Dump/DumpWalkers.h"

namespace kz {

namespace {

// A segment with more problems than these isn't understood any more.
constexpr int kMaxProblems = 8;

void AddValue(const SelfDefiningParameter& parameter, std::string_view parameters,
              DumpEvent& event) {
  const int64_t number = GetBig(parameters, parameter.offset, parameter.width);
  const auto value = static_cast<uint32_t>(number);
  switch (parameter.kind) {
    case ValueKind::Number:
      event.Add(parameter.name, number);
      break;
    case ValueKind::Named: {
      const char* name = FindValueName(parameter.names, value);
      event.Add(parameter.name,
                name != nullptr ? name : "unknown " + HexNumber(value, parameter.width));
      break;
    }
    case ValueKind::Hex:
      event.Add(parameter.name, HexNumber(value, parameter.width));
      break;
    case ValueKind::Numbers: {
      std::string numbers;
      for (const char c : parameters.substr(parameter.offset)) {
        if (!numbers.empty()) numbers += ' ';
        numbers += std::to_string(static_cast<unsigned char>(c));
      }
      event.Add(parameter.name, numbers);
      break;
    }
    case ValueKind::Fixed:
      break;
  }
}

// Fills in the values of a field for which its layout holds, the data of others.
void Describe(const SelfDefiningFieldRow* row, std::string_view parameters, DumpEvent& event) {
  const size_t size = parameters.size();
  if (row != nullptr && size >= row->fewest && size <= row->most) {
    for (const SelfDefiningParameter& parameter : row->parameters) {
      if (size_t{parameter.offset} + parameter.width <= size) {
        AddValue(parameter, parameters, event);
      }
    }
  }
  if (event.values.empty()) event.data = Hex(parameters);
}

// Why the filter doesn't take the field; null when it does.
const char* Refusal(const SelfDefiningFieldRow* row, unsigned length, ByteSpan parameters) {
  if (row == nullptr) return "unknown: images with this self-defining field can't be read";
  if (TakesLength(*row, length) && TakesValues(*row, parameters)) return nullptr;
  return "images with this field, or this length or value of it, can't be read";
}

}  // namespace

ByteSpan SegmentWalker::Field() const {
  return {reinterpret_cast<const unsigned char*>(m_field.data()), m_field.size()};
}

// How many bytes must be read before the field can be shown: of its header, then of its
// parameters, but not of the data of an extended field.
size_t SegmentWalker::Missing() const {
  size_t wanted = m_field.empty() ? 1 : HeaderLengthFrom(Field()[0]);
  if (const auto header = ParseSelfDefiningHeader(Field())) {
    wanted = header->HeaderLength() + (IsExtended(header->id) ? size_t{0} : header->length);
  }
  return wanted - m_field.size();
}

void SegmentWalker::Walk(int64_t at, int64_t end) {
  m_begun |= at < end;
  while (at < end && !m_stream.Ended()) {
    const int64_t left = end - at;
    if (m_skip > 0) {
      const int64_t passed = std::min(m_skip, left);
      m_skip -= passed;
      at += passed;
      continue;
    }
    if (m_ended) {
      if (m_past == 0) m_offset = at;
      m_past += left;
      return;
    }
    if (m_field.empty()) m_offset = at;
    const size_t taken = std::min(Missing(), static_cast<size_t>(left));
    const unsigned char* bytes = m_file.At(at, taken);
    if (bytes == nullptr) return;
    m_field.append(bytes, bytes + taken);
    at += static_cast<int64_t>(taken);
    if (Missing() == 0) Complete();
  }
}

void SegmentWalker::Complete() {
  const SelfDefiningHeader header = *ParseSelfDefiningHeader(Field());
  const SelfDefiningFieldRow* row = FindSelfDefiningField(header.id);
  DumpEvent event;
  event.kind = DumpKind::SelfDefiningField;
  event.offset = m_offset;
  event.length = int64_t{header.HeaderLength()} + header.length;
  event.depth = m_depth;
  event.identifier = HexNumber(header.id, IsExtended(header.id) ? 2 : 1);
  if (row != nullptr) event.name = row->name;
  if (IsExtended(header.id)) {
    m_skip = header.length;
    event.Add("bytes", m_skip);
  } else {
    Describe(row, std::string_view(m_field).substr(header.HeaderLength()), event);
  }
  m_stream.Put(event);

  const ByteSpan parameters = Field().subspan(header.HeaderLength());
  m_ended = header.id == sdf::kEndSegment;
  if (const char* refusal = Refusal(row, header.length, parameters)) {
    m_stream.Problem(m_offset, 0, m_depth, refusal);
    if (++m_problems == kMaxProblems) {
      m_stream.Problem(m_offset + event.length, 0, m_depth,
                       "the rest of the segment isn't understood");
      m_ended = true;
    }
  } else if (header.id == sdf::kImageEncoding && FindCompression(parameters[0]) == nullptr) {
    m_stream.Problem(m_offset, 0, m_depth, "images of this compression can't be loaded");
  }
  m_field.clear();
}

void SegmentWalker::Finish(int64_t offset) {
  if (m_skip > 0) {
    m_stream.Problem(
        offset, 0, m_depth,
        "the segment ends within Image Data, " + std::to_string(m_skip) + " bytes are missing");
  } else if (!m_field.empty()) {
    m_stream.Problem(m_offset, 0, m_depth, "the segment ends within a self-defining field");
  } else if (m_begun && !m_ended) {
    m_stream.Problem(offset, 0, m_depth, "the segment has no End Segment field");
  } else if (m_past > 0 && m_problems < kMaxProblems) {
    m_stream.Problem(m_offset, m_past, m_depth, "the segment goes on behind its end");
  }
}

}  // namespace kz
