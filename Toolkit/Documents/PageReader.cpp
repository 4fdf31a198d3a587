#include "Toolkit/Documents/PageReader.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <new>

#include "Format/Compression.h"
#include "Toolkit/Documents/ImagePlaces.h"
#include "Toolkit/Files/FileShift.h"

namespace kz {

namespace {

constexpr unsigned kPiece = 65000;

}  // namespace

Outcome NoSuchPage(int last) {
  std::string what = "there is no such page";
  if (last > 0) what += ", the last is page " + std::to_string(last);
  return Failure(K_ERROR_INVALID_FORMAT, std::move(what));
}

PageReader::~PageReader() {
  if (m_file != K_InvalidHandle()) K_RedirectedClose(m_file);
}

Outcome PageReader::Open(const std::string& file) {
  const Outcome outcome = m_window.Open(file);
  if (!outcome.Ok()) return outcome;
  if (m_window.Size() > INT32_MAX && !FileShift::Far()) {
    return Failure(K_ERROR_SEEK, "the file is larger than 2 GiB, positions don't reach farther");
  }
  errno = 0;
  m_file = K_RedirectedOpen(file.c_str(), K_OPEN_READ, K_MODE_READABLE);
  if (m_file != K_InvalidHandle()) return {};
  return errno != 0 ? SystemFailure(K_ERROR_OPEN_READ, errno) : Failure(K_ERROR_OPEN_READ);
}

Outcome PageReader::DescribePage(int page, bool countPages, PageInfo& info) {
  if (page < 1) return NoSuchPage(0);
  _IMAGEFILEINFO found = {};
  found.uStructSize = sizeof(found);
  _INFOOPTIONS infoOptions = {countPages ? K_INFO_TOTAL_PAGES : 0};
  _LOADOPTIONS loadOptions = {sizeof(loadOptions), 0, 0, 0, page};
  _INFODISPATCH dispatch = {m_file, &found, &infoOptions, &loadOptions};
  const int status = fltInfo(&dispatch);
  if (status != K_SUCCESS) return ExplainFailure(status);
  if (found.nPageNumber != static_cast<uint32_t>(page)) {
    return NoSuchPage(static_cast<int>(found.nPageNumber));
  }

  PageInfo result;
  result.format = found.nFormat;
  result.coding = FindFormatCode(found.nFormat).row->coding;
  result.compression = found.szCompression;
  result.width = static_cast<int>(found.nWidth);
  result.height = static_cast<int>(found.nHeight);
  result.bitsPerPixel = static_cast<int>(found.nBitsPerPixel);
  result.xResolution = static_cast<int>(found.nXResolution);
  result.yResolution = static_cast<int>(found.nYResolution);
  result.page = page;
  result.pages = countPages ? static_cast<int>(found.nTotalPages) : 0;
  result.bytes = found.uSizeMem;
  result.topDown = found.nViewPerspective == uint32_t{K_VIEW_TOP_DOWN};
  if (countPages) result.structure = CheckStructure();
  m_page = page;
  m_segment.reset();
  // Only the image segment tells the order of the bits and how rows are padded; and JPEG
  // has one format code for all containers. Other pages don't pay for the walk to it.
  result.container = FindFormatCode(found.nFormat).container;
  if (countPages || result.coding == Coding::Uncompressed || result.coding == Coding::Jpeg) {
    Outcome outcome = OpenSegment();
    if (!outcome.Ok()) return outcome;
    if (result.coding == Coding::Jpeg) result.container = m_container;
    result.reversedBits = m_layout.reversedBits;
    result.unpaddedRows = m_layout.unpaddedRows;
  }
  info = result;
  return {};
}

bool PageReader::IsBare() {
  const unsigned char* start = m_window.At(FileShift::Base(), std::size(kBareStart));
  return start != nullptr && StartsBareImage({start, std::size(kBareStart)});
}

Outcome PageReader::OpenSegment() {
  if (m_segment) return {};
  ImagePlace place{FileShift::Base(), Container::Ioca};
  if (!IsBare()) {
    const auto number = static_cast<size_t>(m_page);
    const ImagePlaces found = FindImagePlaces(m_window, place.position, number);
    if (found.places.size() < number) return Failure(K_ERROR_READ);
    place = found.places.back();
  }
  m_container = place.container;
  m_segment.emplace(m_window, place.position, place.container == Container::Ioca);
  m_layout = {};
  return m_segment->FindImageData(m_layout);
}

Outcome PageReader::CheckStructure() {
  return IsBare() ? Outcome{} : FindImagePlaces(m_window, FileShift::Base()).structure;
}

Outcome PageReader::ExplainFailure(int status) {
  const int64_t size = m_window.Size() - FileShift::Base();
  if (size <= 0) return Failure(status, "the file is empty");
  if (IsBare()) return Failure(status);
  const auto count = static_cast<size_t>(std::min<int64_t>(size, kIntroducerRoom));
  const unsigned char* start = m_window.At(FileShift::Base(), count);
  if (start != nullptr && !StartsStructuredField({start, count})) {
    return Failure(status, "this is neither an IOCA image nor a MO:DCA document");
  }
  const Outcome structure = CheckStructure();
  if (!structure.Ok()) return Failure(status, structure.what);
  return status == K_ERROR_READ ? Failure(status, "the document has no image") : Failure(status);
}

Outcome PageReader::ReadImageData(std::vector<unsigned char>& data, size_t limit) try {
  Outcome opened = OpenSegment();
  if (!opened.Ok()) return opened;
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

Outcome PageReader::CountImageData(uint64_t& bytes) {
  bytes = 0;
  Outcome opened = OpenSegment();
  if (!opened.Ok()) return opened;
  for (size_t got = kPiece; got == kPiece; bytes += got) {
    Outcome outcome = m_segment->Read(nullptr, kPiece, got);
    if (!outcome.Ok()) return outcome;
  }
  return {};
}

Outcome PageReader::ReadJpegFrame(JpegFrame& frame) {
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
