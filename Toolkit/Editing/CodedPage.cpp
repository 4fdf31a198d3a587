#include "Toolkit/Editing/CodedPage.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "Format/SelfDefiningField.h"

namespace kz {

namespace {

// Fields are gathered until there is so much to be written.
constexpr size_t kWrittenAtOnce = size_t{256} * 1024;

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

void CodedPageWriter::Begin(const SegmentImage& image) {
  if (m_container != Container::Ioca) {
    if (m_newFile) AddField(BeginDocumentField(), true);
    for (const SmallField& field : PageStartFields(image.page)) AddField(field, true);
  }
  AddSegmentFields(SegmentStart(image));
}

Outcome CodedPageWriter::Put(ByteSpan data) {
  while (!data.empty()) {
    if (m_room == 0) {
      m_dataHead = m_out.size();
      m_room = MostData();
      m_out += DataHeaders(m_room);
    }
    const size_t count = std::min<size_t>(data.size(), m_room);
    AddBytes(m_out, data.first(count));
    data = data.subspan(count);
    m_room -= static_cast<unsigned>(count);
    if (m_room > 0 || m_out.size() < kWrittenAtOnce) continue;
    Outcome outcome = Write();
    if (!outcome.Ok()) return outcome;
  }
  return {};
}

Outcome CodedPageWriter::Finish() {
  EndImageData();
  AddSegmentFields(SegmentEnd());
  if (m_container != Container::Ioca) {
    for (const SmallField& field : PageEndFields()) AddField(field, true);
    AddField(EndDocumentField(), false);
  }
  Outcome outcome = Write();
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

// What an Image Picture Data field of so many bytes begins with.
void CodedPageWriter::AddIntroducer(std::string& to, unsigned length) const {
  if (m_container == Container::ModcaCarriageControl) to += static_cast<char>(kCarriageControl);
  unsigned char introducer[kIntroducerLength];
  PutIntroducer(introducer, kIntroducerLength + length, sf::kImagePictureData);
  AddBytes(to, introducer);
}

// Adds fields of the segment, in a document in an Image Picture Data field.
void CodedPageWriter::AddSegmentFields(ByteSpan fields) {
  if (m_container != Container::Ioca) AddIntroducer(m_out, static_cast<unsigned>(fields.size()));
  AddBytes(m_out, fields);
}

unsigned CodedPageWriter::MostData() const {
  return m_container == Container::Ioca ? kBareImageData : kDocumentImageData;
}

// What stands before so many bytes of image data.
std::string CodedPageWriter::DataHeaders(unsigned length) const {
  unsigned char header[kMaxSelfDefiningHeader];
  const unsigned count =
      PutSelfDefiningHeader(header, {sdf::kImageData, static_cast<uint16_t>(length)});
  std::string headers;
  if (m_container != Container::Ioca) AddIntroducer(headers, count + length);
  AddBytes(headers, {header, count});
  return headers;
}

// Says the length of an Image Data field that isn't full.
void CodedPageWriter::EndImageData() {
  if (m_room == 0) return;
  const std::string headers = DataHeaders(MostData() - m_room);
  m_out.replace(m_dataHead, headers.size(), headers);
  m_room = 0;
}

Outcome CodedPageWriter::Write() {
  const ByteSpan out = SpanOf(m_out);
  const bool written = WriteFully(m_file.Get(), out.data(), out.size());
  m_out.clear();
  return written ? Outcome{} : SystemFailure(K_ERROR_WRITE, errno);
}

}  // namespace kz
