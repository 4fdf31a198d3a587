#include "Toolkit/Documents/PictureScan.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "Format/Container.h"
#include "Format/SelfDefiningField.h"
#include "Format/Triplet.h"

namespace kz {

namespace {

// In the contents of an Object Classification triplet: the object type, registered under
// 1.3.18.0.4.1, of which the last component is the type's.
constexpr size_t kObjectTypeOffset = 6;
constexpr std::string_view kObjectTypePrefix("\x06\x07\x2B\x12\x00\x04\x01\x01", 8);
constexpr char kJpegType = 0x17;
// Also without transparency, of several images, and the subset.
constexpr std::string_view kTiffTypes = "\x0E\x3C\x3D\x3E\x42";

bool IsKind(std::string_view triplet, PictureKind& kind) {
  if (triplet.size() <= kObjectTypeOffset + kObjectTypePrefix.size()) return false;
  const std::string_view type = triplet.substr(kObjectTypeOffset);
  if (!type.starts_with(kObjectTypePrefix)) return false;
  const char last = type[kObjectTypePrefix.size()];
  kind = last == kJpegType ? PictureKind::Jpeg : PictureKind::Tiff;
  return last == kJpegType || kTiffTypes.find(last) != std::string_view::npos;
}

bool StartsPicture(std::string_view data, PictureKind& kind) {
  const bool jpeg = data.starts_with("\xFF\xD8\xFF");
  kind = jpeg ? PictureKind::Jpeg : PictureKind::Tiff;
  return jpeg || data.starts_with(std::string_view("II*\0", 4)) ||
         data.starts_with(std::string_view("MM\0*", 4));
}

// Whether a reference knows a self-defining field; quick for those of every image.
bool IsKnown(unsigned id) {
  switch (id) {
    case sdf::kBeginSegment:
    case sdf::kEndSegment:
    case sdf::kBeginImageContent:
    case sdf::kEndImageContent:
    case sdf::kImageSize:
    case sdf::kImageEncoding:
    case sdf::kIdeSize:
    case sdf::kImageLutId:
    case sdf::kImageData:
      return true;
    default:
      return FindSelfDefiningField(id) != nullptr;
  }
}

}  // namespace

void ContentScan::Take(FileWindow& file, int64_t field, ByteRange part,
                       std::vector<Content>& contents) {
  int64_t at = part.begin;
  if (m_empty && part.Size() > 0) {
    // The part is raw data, unless it ends them.
    const auto count = static_cast<size_t>(std::min<int64_t>(part.Size(), kRawDataEnd));
    const unsigned char* start = file.At(at, count);
    if (start == nullptr || !EndsRawData({start, count})) return;
    m_empty = false;
  }
  while (at < part.end && !m_lost) {
    if (m_skip > 0) {
      const int64_t skipped = std::min(m_skip, part.end - at);
      m_skip -= skipped;
      at += skipped;
      continue;
    }
    if (m_headerLength == 0) {
      m_field = at;
      m_outer = field;
      m_before = at - part.begin;
      // Mostly headers are whole.
      const ByteSpan held = file.Held(at);
      const auto room = static_cast<size_t>(part.end - at);
      const size_t taken = TakeWhole(held.first(std::min(held.size(), room)), contents);
      at += static_cast<int64_t>(taken);
      file.NoteUse(at);
      if (taken > 0) continue;
    }
    const size_t wanted = m_headerLength == 0 ? 1 : HeaderLengthFrom(m_header[0]);
    const auto room = static_cast<size_t>(std::min<int64_t>(part.end - at, sizeof(m_header)));
    const size_t n = std::min(std::max<size_t>(wanted, 1) - m_headerLength, room);
    const unsigned char* bytes = file.At(at, n);
    if (bytes == nullptr) break;
    std::memcpy(m_header + m_headerLength, bytes, n);
    m_headerLength += n;
    at += static_cast<int64_t>(n);
    if (m_headerLength < HeaderLengthFrom(m_header[0])) continue;

    TakeHeader({m_header, m_headerLength}, contents);
    m_headerLength = 0;
  }
}

size_t ContentScan::TakeWhole(ByteSpan bytes, std::vector<Content>& contents) {
  const int64_t begin = m_field;
  const int64_t before = m_before;
  size_t at = 0;
  while (bytes.size() - at >= kMaxSelfDefiningHeader && m_skip == 0 && !m_lost) {
    m_field = begin + static_cast<int64_t>(at);
    m_before = before + static_cast<int64_t>(at);
    const size_t header = HeaderLengthFrom(bytes[at]);
    TakeHeader(bytes.subspan(at, header), contents);
    at += header;
    const size_t skipped = std::min(static_cast<size_t>(m_skip), bytes.size() - at);
    m_skip -= static_cast<int64_t>(skipped);
    at += skipped;
  }
  return at;
}

void ContentScan::TakeHeader(ByteSpan bytes, std::vector<Content>& contents) {
  const bool extended = bytes[0] == kExtendedField;
  const unsigned id = extended ? GetBig16(bytes.data()) : bytes[0];
  m_skip = extended ? GetBig16(bytes.data() + 2) : bytes[1];
  if (id == sdf::kBeginSegment) {
    m_segment = m_field;
    m_contents = 0;
  } else if (id == sdf::kBeginImageContent) {
    contents.push_back({m_segment, ++m_contents, m_outer, m_before});
  }
  m_empty = id == sdf::kImageData && m_skip == 0;
  if (id == kSwappedSubsampling && m_skip == kExtendedField) {
    constexpr int64_t swapped = 2 + 8;  // length and parameters, the same in all files
    m_skip = swapped;
    return;
  }
  m_lost = !IsKnown(id);
}

void PictureScan::Begin(PictureKind kind, const ScannedField& field, Container container) {
  IndexedPicture picture;
  picture.kind = kind;
  picture.container = container;
  picture.bytes = {m_begin, field.End()};
  m_picture = m_pictures.size();
  m_pictures.push_back(picture);
  m_named = true;
}

void PictureScan::Take(const ScannedField& field, Container container) {
  if (field.code == sf::kImagePictureData) return TakePictureData(field, container);
  if (m_inData && field.code != sf::kNoOperation) Finish();
  m_damaged = false;
  switch (field.code) {
    case sf::kBeginImageObject:
    case sf::kEndImageObject:
      m_descriptor = 0;
      break;
    case sf::kImageDataDescriptor:
      m_descriptor = field.offset;
      return;
    case sf::kBeginImImage:
    case sf::kBeginObjectContainer:
      m_object = field.code;
      m_begin = field.offset;
      m_named = false;
      if (field.code == sf::kBeginObjectContainer) return TakeContainer(field, container);
      return Begin(PictureKind::Im1, field, container);
    case sf::kObjectContainerData:
      // A container that doesn't say what it holds is known by its first bytes.
      if (m_object == sf::kBeginObjectContainer && !m_named) {
        PictureKind kind;
        constexpr unsigned enough = 4;
        const unsigned char* data =
            field.DataLength() >= enough ? m_file.At(field.DataOffset(), enough) : nullptr;
        if (data != nullptr && StartsPicture(AsText({data, enough}), kind)) {
          Begin(kind, field, container);
        } else {
          m_object = 0;
        }
      }
      return;
    case sf::kBeginPage:
    case sf::kEndPage:
      m_object = 0;
      m_descriptor = 0;
      return;
    default:
      break;
  }
  if (m_object == 0 || field.code != PartnerOf(m_object)) return;
  if (m_named) m_pictures[m_picture].bytes.end = field.End();
  m_object = 0;
}

void PictureScan::TakeContainer(const ScannedField& field, Container container) {
  const std::string_view data = AsText(DataOf(m_file, field));
  const std::string_view triplets = data.substr(std::min<size_t>(data.size(), kFieldNameLength));
  const Triplet type = FindTriplet(triplets, triplet::kObjectClassification);
  if (type.whole.empty()) return;
  PictureKind kind;
  if (IsKind(type.contents, kind)) {
    Begin(kind, field, container);
  } else {
    m_object = 0;
  }
}

void PictureScan::TakePictureData(const ScannedField& field, Container container) {
  if (m_damaged && m_inData) {
    constexpr size_t enough = 8;
    const size_t count = std::min<size_t>(field.DataLength(), enough);
    const unsigned char* data = m_file.At(field.DataOffset(), count);
    if (data != nullptr && StartsBareSegment({data, count})) Finish();
  }
  m_damaged = false;
  if (!m_inData) {
    m_inData = true;
    if (!m_named) m_object = 0;  // pictures come in the order in which they begin
    m_first = m_pictures.size();
    m_contents = {};
    m_data = {};
    m_data.bytes.begin = field.offset;
    m_data.container = container;
    m_data.contentField = field.offset;
    m_data.descriptor = m_descriptor;
  }
  m_data.bytes.end = field.End();
  m_found.clear();
  const int64_t end = std::min(field.End() - PaddingOf(m_file, field), m_file.Size());
  m_contents.Take(m_file, field.offset, {field.DataOffset(), end}, m_found);
  for (const ContentScan::Content& found : m_found) {
    m_data.contentField = found.field;
    m_data.contentSkip = static_cast<uint32_t>(found.skip);
    m_data.content = static_cast<int>(m_pictures.size() - m_first) + 1;
    m_pictures.push_back(m_data);
  }
}

void PictureScan::Finish() {
  if (!m_inData) return;
  m_inData = false;
  // Data without an image content are a picture nevertheless, if a damaged one; then
  // the content's place is still that of the data.
  m_data.content = 1;
  if (m_pictures.size() == m_first) m_pictures.push_back(m_data);
  for (size_t i = m_first; i < m_pictures.size(); ++i) m_pictures[i].bytes.end = m_data.bytes.end;
}

void PictureScan::Damage(int64_t next) {
  m_damaged = true;
  m_data.bytes.end = std::min(m_data.bytes.end, next);
  for (size_t i = m_pictures.size(); i-- > 0 && m_pictures[i].bytes.end > next;) {
    m_pictures[i].bytes.end = next;
  }
  m_contents.Lose();
}

void PictureScan::TakeBareFile() {
  m_found.clear();
  m_contents = {};
  m_contents.Take(m_file, 0, {0, m_file.Size()}, m_found);
  if (m_found.empty()) m_found.push_back({0, 1, 0, 0});
  for (const ContentScan::Content& found : m_found) {
    IndexedPicture picture;
    picture.container = Container::Ioca;
    picture.content = found.number;
    picture.bytes.begin = found.segment;
    picture.contentField = found.skip;  // there is no structured field around it
    m_pictures.push_back(picture);
  }
  // Up to the next segment.
  int64_t end = m_file.Size();
  for (size_t i = m_pictures.size(); i-- > 0;) {
    m_pictures[i].bytes.end = end;
    const bool first = i == 0 || m_pictures[i - 1].bytes.begin != m_pictures[i].bytes.begin;
    if (first) end = m_pictures[i].bytes.begin;
  }
}

}  // namespace kz
