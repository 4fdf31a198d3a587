#include "Toolkit/Editing/CodedPage.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "Format/SelfDefiningField.h"

namespace kz {

namespace {

// Image data bytes of one Image Data field. In a document an Image Picture Data field
// holds one, and is 8188 bytes long then.
constexpr size_t kDocumentData = 8176;
constexpr size_t kBareData = 0xFFFF;

void AddBytes(std::string& to, ByteSpan bytes) {
  to.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

ByteSpan SpanOf(const std::string& bytes) {
  return {reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()};
}

// Sets the position to where a page takes the place of the End Document.
Outcome SeekEnd(int descriptor, int64_t size, Container container) {
  unsigned char last[1 + kEndDocumentLength];  // the last field and the byte before it
  const auto count = static_cast<size_t>(std::min<int64_t>(size, sizeof(last)));
  if (ReadFully(descriptor, size - static_cast<int64_t>(count), last, count) !=
      static_cast<int64_t>(count)) {
    return SystemFailure(K_ERROR_READ, errno);
  }
  const size_t length = TrailingEndDocument({last, count});
  if (length == 0) {
    return Failure(K_ERROR_INVALID_FORMAT, "the document doesn't end with End Document");
  }
  // A 0x5A before it may be another field's last byte. Where the page begins with one it
  // is the same.
  const bool shared = container == Container::ModcaCarriageControl && count > length &&
                      last[count - length - 1] == kCarriageControl;
  const auto place = size - static_cast<int64_t>(length) - (shared ? 1 : 0);
  if (::lseek(descriptor, place, SEEK_SET) < 0) return SystemFailure(K_ERROR_SEEK, errno);
  return {};
}

}  // namespace

Outcome CodedPageWriter::Open(const std::string& file, SaveMode mode, Container container) {
  m_container = container;
  m_file.Reset(OpenDescriptor(file.c_str(), O_RDWR | O_CREAT, 0666));
  struct stat found;
  if (m_file.Get() < 0 || ::fstat(m_file.Get(), &found) != 0) {
    return SystemFailure(K_ERROR_OPEN_WRITE, errno);
  }
  m_newFile = mode == SaveMode::NewFile || found.st_size == 0;
  if (!m_newFile) return SeekEnd(m_file.Get(), found.st_size, container);
  if (::ftruncate(m_file.Get(), 0) != 0) return SystemFailure(K_ERROR_OPEN_WRITE, errno);
  return {};
}

Outcome CodedPageWriter::Begin(const SegmentImage& image) {
  if (m_container != Container::Ioca) {
    if (m_newFile) AddField(BeginDocumentField(), true);
    for (const SmallField& field : PageStartFields(image.page)) AddField(field, true);
  }
  AddPictureData(SegmentStart(image));
  return {};
}

Outcome CodedPageWriter::Put(ByteSpan data) {
  const size_t most = m_container == Container::Ioca ? kBareData : kDocumentData;
  Outcome outcome;
  while (!data.empty() && outcome.Ok()) {
    const size_t count = std::min(data.size(), most - m_data.size());
    AddBytes(m_data, data.first(count));
    data = data.subspan(count);
    if (m_data.size() == most) outcome = Flush();
  }
  return outcome;
}

Outcome CodedPageWriter::Finish() {
  Outcome outcome = Flush();
  if (!outcome.Ok()) return outcome;
  AddPictureData(SegmentEnd());
  if (m_container != Container::Ioca) {
    for (const SmallField& field : PageEndFields()) AddField(field, true);
    AddField(EndDocumentField(), false);
  }
  outcome = Flush();
  if (!outcome.Ok()) return outcome;
  const off_t end = ::lseek(m_file.Get(), 0, SEEK_CUR);
  if (end < 0 || ::ftruncate(m_file.Get(), end) != 0) return SystemFailure(K_ERROR_WRITE, errno);
  return outcome;
}

void CodedPageWriter::AddField(ByteSpan field, bool prefixed) {
  if (prefixed && m_container == Container::ModcaCarriageControl) {
    m_out += static_cast<char>(kCarriageControl);
  }
  AddBytes(m_out, field);
}

// Adds fields of the segment, in a document in an Image Picture Data field.
void CodedPageWriter::AddPictureData(ByteSpan data) {
  if (m_container != Container::Ioca) {
    unsigned char introducer[kIntroducerLength];
    PutIntroducer(introducer, static_cast<unsigned>(kIntroducerLength + data.size()),
                  sf::kImagePictureData);
    AddField(introducer, true);
  }
  AddBytes(m_out, data);
}

// Writes what is there.
Outcome CodedPageWriter::Flush() {
  if (!m_data.empty()) {
    unsigned char header[kMaxSelfDefiningHeader];
    const auto length = static_cast<uint16_t>(m_data.size());
    const unsigned count = PutSelfDefiningHeader(header, {sdf::kImageData, length});
    m_data.insert(0, reinterpret_cast<const char*>(header), count);
    AddPictureData(SpanOf(m_data));
    m_data.clear();
  }
  const ByteSpan out = SpanOf(m_out);
  const bool written = WriteFully(m_file.Get(), out.data(), out.size());
  m_out.clear();
  return written ? Outcome{} : SystemFailure(K_ERROR_WRITE, errno);
}

}  // namespace kz
