#include "Toolkit/Documents/ImageReader.h"

#include <algorithm>
#include <cerrno>
#include <new>

#include "Format/Compression.h"
#include "Toolkit/Files/FileShift.h"

namespace kz {

namespace {

constexpr unsigned kPiece = 65000;

}  // namespace

ImageReader::~ImageReader() {
  if (m_file != K_InvalidHandle()) K_RedirectedClose(m_file);
}

Outcome ImageReader::Open(const std::string& file, Container container) {
  m_container = container;
  errno = 0;
  m_file = K_RedirectedOpen(file.c_str(), K_OPEN_READ, K_MODE_READABLE);
  if (m_file != K_InvalidHandle()) return {};
  return errno != 0 ? SystemFailure(K_ERROR_OPEN_READ, errno) : Failure(K_ERROR_OPEN_READ);
}

Outcome ImageReader::Describe(PictureInfo& info) {
  _IMAGEFILEINFO found = {};
  found.uStructSize = sizeof(found);
  _INFOOPTIONS infoOptions = {0};
  _LOADOPTIONS loadOptions = {sizeof(loadOptions), 0, 0, 0, 1};
  _INFODISPATCH dispatch = {m_file, &found, &infoOptions, &loadOptions};
  const int status = fltInfo(&dispatch);
  if (status != K_SUCCESS) return Failure(status);

  PictureInfo result;
  const CompressionRow& compression = *FindFormatCode(found.nFormat).row;
  result.format = DescribedFormatCode(compression, m_container);
  result.coding = compression.coding;
  result.container = m_container;
  result.compression = found.szCompression;
  result.width = static_cast<int>(found.nWidth);
  result.height = static_cast<int>(found.nHeight);
  result.bitsPerPixel = static_cast<int>(found.nBitsPerPixel);
  result.xResolution = static_cast<int>(found.nXResolution);
  result.yResolution = static_cast<int>(found.nYResolution);
  result.bytes = found.uSizeMem;
  result.topDown = found.nViewPerspective == uint32_t{K_VIEW_TOP_DOWN};

  // Only the image segment tells the order of the bits and how rows are padded.
  m_segment.emplace(m_window, FileShift::Base(), m_container == Container::Ioca);
  StoredLayout layout;
  Outcome outcome = m_segment->FindImageData(layout);
  if (!outcome.Ok()) return outcome;
  result.reversedBits = layout.reversedBits;
  result.unpaddedRows = layout.unpaddedRows;
  m_markedSamples = layout.markedSamples;
  info = result;
  return {};
}

Outcome ImageReader::ReadImageData(std::vector<unsigned char>& data, size_t limit) try {
  for (size_t got = kPiece; got == kPiece && data.size() < limit;) {
    const size_t size = data.size();
    data.resize(size + kPiece);
    Outcome outcome = m_segment->Read(data.data() + size, kPiece, got);
    data.resize(size + got);
    if (!outcome.Ok()) return outcome;
  }
  return {};
} catch (const std::bad_alloc&) {
  return Failure(K_ERROR_NO_MEMORY);
}

Outcome ImageReader::ReadStored(StoredData& stored, bool& passes) {
  PictureInfo info;
  Outcome outcome = Describe(info);
  if (!outcome.Ok()) return outcome;
  stored.fax = info.coding == Coding::Fax ? FindFormatCode(info.format).row->raw : 0;
  stored.width = info.width;
  stored.height = info.height;
  // A depth of 1 stands for none that is said.
  stored.depth = info.bitsPerPixel == 1 ? 0 : info.bitsPerPixel;
  stored.xResolution = info.xResolution;
  stored.yResolution = info.yResolution;
  stored.bottomUp = !info.topDown;
  stored.reversedBits = info.reversedBits;
  passes = stored.fax != 0 ? MayPass(stored.fax) : info.coding == Coding::Jpeg;
  return passes ? ReadImageData(stored.bytes) : outcome;
}

Outcome ImageReader::CountImageData(uint64_t& bytes) {
  bytes = 0;
  for (size_t got = kPiece; got == kPiece; bytes += got) {
    Outcome outcome = m_segment->Read(nullptr, kPiece, got);
    if (!outcome.Ok()) return outcome;
  }
  return {};
}

Outcome ImageReader::ReadJpegFrame(JpegFrame& frame) {
  std::vector<unsigned char> data;
  size_t at = 0;
  for (;;) {
    const size_t before = data.size();
    Outcome outcome = ReadImageData(data, before + 1);
    const JpegSearch search = FindJpegFrame(data, at, frame);
    if (search == JpegSearch::Found) return {};
    if (!outcome.Ok()) return outcome;
    if (search == JpegSearch::None || data.size() - before < kPiece) break;
  }
  return Failure(K_ERROR_INVALID_FORMAT, "the JPEG data have no usable frame header");
}

}  // namespace kz
