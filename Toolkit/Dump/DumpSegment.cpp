// The self-defining fields of an image segment, in words.
#include <algorithm>
#include <cstring>

#include "API/Filters/Ica/Common/Ioca/SelfDefiningField.h"
#include "API/Filters/Ica/Common/Thread.h"
#include "Format/Compression.h"
#include "Toolkit/Dump/DumpWalkers.h"

namespace kz {

namespace {

// A segment with more problems than these isn't understood any more.
constexpr int kMaxProblems = 8;

struct NamedCode {
  unsigned code;
  const char* name;
};

// The self-defining fields of IOCA, also those that can't be read.
constexpr NamedCode kFieldNames[] = {
    {0x70, "Begin Segment"},
    {0x71, "End Segment"},
    {0x8C, "Begin Tile"},
    {0x8D, "End Tile"},
    {0x8E, "Begin Transparency Mask"},
    {0x8F, "End Transparency Mask"},
    {0x91, "Begin Image Content"},
    {0x93, "End Image Content"},
    {0x94, "Image Size"},
    {0x95, "Image Encoding"},
    {0x96, "IDE Size"},
    {0x97, "Image LUT-ID"},
    {0x98, "Band Image"},
    {0x9B, "IDE Structure"},
    {0x9F, "External Algorithm Description"},
    {0xB5, "Tile Position"},
    {0xB6, "Tile Size"},
    {0xB7, "Tile Set Color"},
    {0xFE92, "Image Data"},
    {0xFE9C, "Band Image Data"},
    {0xFEB8, "Include Tile"},
    {0xFEBB, "Tile TOC"},
    {0xFECE, "Image Subsampling"},
};

constexpr NamedCode kCompressions[] = {
    {ICA_COMPRESSION_IBM_MMR, "IBM MMR"},
    {ICA_COMPRESSION_NONE, "none"},
    {ICA_COMPRESSION_RL4, "RL4"},
    {ICA_COMPRESSION_ABIC, "ABIC"},
    {ICA_COMPRESSION_CONCATENATED_ABIC, "concatenated ABIC"},
    {ICA_COMPRESSION_UNASSIGNED, "unassigned"},
    {ICA_COMPRESSION_G3_MH, "G3 MH"},
    {ICA_COMPRESSION_G3_MR, "G3 MR"},
    {ICA_COMPRESSION_G4_MMR, "G4 MMR"},
    {ICA_COMPRESSION_JPEG, "JPEG"},
};

constexpr NamedCode kRecordings[] = {
    {RECORDING_RIDIC, "RIDIC"},
    {RECORDING_BOTTOM_TO_TOP, "bottom to top"},
    {kRecordingUnpaddedRidic, "unpadded RIDIC"},
    {0xFE, "see IDE Structure"},
};

constexpr NamedCode kUnitBases[] = {
    {UNIT_BASE_TEN_INCHES, "10 inches"},
    {UNIT_BASE_TEN_CENTIMETRES, "10 centimetres"},
    {kBaseLogical, "logical"},
};

constexpr NamedCode kColorSpaces[] = {
    {0x01, "RGB"}, {0x02, "YCrCb"}, {0x04, "CMYK"}, {0x12, "YCbCr"}};

template <size_t N>
std::string NameOf(const NamedCode (&names)[N], unsigned code) {
  for (const NamedCode& row : names) {
    if (row.code == code) return row.name;
  }
  const char byte = static_cast<char>(code);
  std::string words = "unknown ";
  return words.append(Hex({&byte, 1}));
}

const char* FieldName(unsigned id) {
  for (const NamedCode& row : kFieldNames) {
    if (row.code == id) return row.name;
  }
  return "";
}

// Fills in the values of the fields that have their full length.
void Describe(unsigned id, std::string_view parameters, DumpEvent& event) {
  const auto byte = [&](size_t at) { return static_cast<unsigned char>(parameters[at]); };
  const size_t size = parameters.size();
  if (id == SDF_BEGIN_SEGMENT && size == 4) {
    event.Add("name", Hex(parameters));
  } else if (id == SDF_IMAGE_SIZE && size >= 9) {
    event.Add("unitBase", NameOf(kUnitBases, byte(0)));
    event.Add("xUnits", Big(parameters, 1, 2));
    event.Add("yUnits", Big(parameters, 3, 2));
    event.Add("width", Big(parameters, 5, 2));
    event.Add("height", Big(parameters, 7, 2));
  } else if (id == sdf::kImageEncoding && size >= 2) {
    event.Add("compression", NameOf(kCompressions, byte(0)));
    event.Add("recording", NameOf(kRecordings, byte(1)));
    if (size > 2) {
      const bool reversed = byte(2) == 1;
      event.Add("bitOrder", reversed ? "first pixel lowest" : "first pixel highest");
    }
  } else if (id == SDF_IDE_SIZE && size >= 1) {
    event.Add("bitsPerPixel", Big(parameters, 0, 1));
  } else if (id == SDF_IMAGE_LUT_ID && size >= 1) {
    event.Add("lookUpTable", Big(parameters, 0, 1));
  } else if (id == SDF_IDE_STRUCTURE && size >= 6) {
    event.Add("flags", Hex(parameters.substr(0, 1)));
    event.Add("colorSpace", NameOf(kColorSpaces, byte(1)));
    std::string sizes = std::to_string(byte(5));
    for (size_t i = 6; i < size; ++i) sizes.append(" ").append(std::to_string(byte(i)));
    event.Add("bits", sizes);
  } else {
    event.data = Hex(parameters, 16);
  }
}

// Lets the filter's reader read from memory for its lifetime.
class MemorySegment {
 public:
  explicit MemorySegment(std::string_view bytes)
      : m_state(ThreadState()), m_saved(*m_state), m_bytes(bytes) {
    m_state->bReadIPD = 0;
    m_state->pfnRead = Read;
    m_state->pReadUserData = &m_bytes;
  }
  ~MemorySegment() { *m_state = m_saved; }
  MemorySegment(const MemorySegment&) = delete;
  MemorySegment& operator=(const MemorySegment&) = delete;

 private:
  static int Read(tagHANDLE*, unsigned char* to, unsigned count, void* userData) {
    auto* bytes = static_cast<std::string_view*>(userData);
    const size_t n = std::min<size_t>(count, bytes->size());
    std::memcpy(to, bytes->data(), n);
    bytes->remove_prefix(n);
    return static_cast<int>(n);
  }

  FilterThreadState* m_state;
  FilterThreadState m_saved;
  std::string_view m_bytes;
};

// Whether the filter takes the field.
bool IsReadable(std::string_view field) {
  const MemorySegment segment(field);
  _ICA_SDF ignored;
  return ReadICA_SDF(nullptr, &ignored) == K_SUCCESS;
}

unsigned char ByteAt(const std::string& bytes, size_t at) {
  return static_cast<unsigned char>(bytes[at]);
}

bool IsExtended(const std::string& field) { return ByteAt(field, 0) == kExtendedField; }

unsigned IdOf(const std::string& field) {
  return IsExtended(field) ? unsigned{kExtendedField} << 8 | ByteAt(field, 1) : ByteAt(field, 0);
}

}  // namespace

// How many bytes the field that has begun needs before it can be shown: its header,
// then its parameters too, but not the data of an extended field.
size_t SegmentWalker::Wanted() const {
  if (m_field.size() < 2) return 2;
  if (IsExtended(m_field)) return SDF_IMAGE_DATA_HEADER;
  return 2 + size_t{ByteAt(m_field, 1)};
}

void SegmentWalker::Feed(std::string_view bytes, int64_t offset, int depth) {
  m_begun = true;
  while (!bytes.empty()) {
    const auto skipped =
        static_cast<size_t>(std::min<int64_t>(m_skip, static_cast<int64_t>(bytes.size())));
    if (skipped > 0) {
      m_skip -= static_cast<int64_t>(skipped);
    } else if (m_ended) {
      if (m_behind == 0) m_offset = offset;
      m_behind += static_cast<int64_t>(bytes.size());
      return;
    }
    size_t taken = skipped;
    if (taken == 0) {
      if (m_field.empty()) {
        m_offset = offset;
        m_depth = depth;
      }
      taken = std::min(bytes.size(), Wanted() - m_field.size());
      m_field.append(bytes.substr(0, taken));
      if (m_field.size() == Wanted()) Complete(depth);
    }
    bytes.remove_prefix(taken);
    offset += static_cast<int64_t>(taken);
  }
}

void SegmentWalker::Complete(int depth) {
  const unsigned id = IdOf(m_field);
  const bool extended = IsExtended(m_field);
  DumpEvent event;
  event.kind = DumpKind::SelfDefiningField;
  event.offset = m_offset;
  event.depth = m_depth;
  event.identifier = Hex(std::string_view(m_field).substr(0, extended ? 2 : 1));
  event.name = FieldName(id);
  event.length = static_cast<int64_t>(m_field.size());
  if (extended) {
    m_skip = Big(m_field, 2, 2);
    event.length += m_skip;
    event.Add("bytes", m_skip);
  } else {
    Describe(id, std::string_view(m_field).substr(2), event);
  }
  m_stream.Put(event);
  CheckField(event, depth);
  m_ended |= id == sdf::kEndSegment;
  m_field.clear();
}

void SegmentWalker::CheckField(DumpEvent& event, int depth) {
  const unsigned id = IdOf(m_field);
  if (!IsReadable(m_field)) {
    m_stream.Problem(m_offset, 0, depth,
                     *FieldName(id) == '\0'
                         ? "unknown: images with this self-defining field can't be read"
                         : "images with this field, or this length or value of it, can't be read");
    if (++m_problems == kMaxProblems) {
      m_stream.Problem(m_offset + event.length, 0, depth,
                       "the rest of the segment isn't understood");
      m_ended = true;
    }
  } else if (id == sdf::kImageEncoding && FindCompression(ByteAt(m_field, 2)) == nullptr) {
    m_stream.Problem(m_offset, 0, depth, "images of this compression can't be loaded");
  }
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
  } else if (m_behind > 0 && m_problems < kMaxProblems) {
    m_stream.Problem(m_offset, m_behind, m_depth, "the segment goes on behind its end");
  }
  m_field.clear();
  m_skip = 0;
  m_problems = 0;
  m_behind = 0;
  m_begun = m_ended = false;
}

}  // namespace kz
