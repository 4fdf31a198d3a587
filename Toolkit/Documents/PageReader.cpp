#include "Toolkit/Documents/PageReader.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <new>

#include "API/Filters/Ica/Common/Ioca/ImageDataReader.h"
#include "API/Filters/Ica/Common/Ioca/ImageInfo.h"
#include "API/Filters/Ica/Common/Ioca/Navigation.h"
#include "API/Filters/Ica/Common/Ioca/SelfDefiningField.h"
#include "API/Filters/Ica/Common/Thread.h"
#include "Toolkit/Documents/ImagePlaces.h"
#include "Toolkit/Files/FileShift.h"

namespace kz {

namespace {

constexpr unsigned kPiece = 65000;

// The filter's record of the calling thread: only it says what kind of container
// was met, and where in the image data its readers stand.
FilterThreadState* State() {
  void* record =
      K_MyGetThreadData(&g_kzicaTls, kzicaAllocateThreadData, kzicaFreeThreadData, g_kzicaMutex);
  return record != nullptr ? static_cast<FilterThreadState*>(record) : &g_kzicaThreadData;
}

Container ContainerMet() {
  const FilterThreadState* state = State();
  if (state->bReadIPD == 0) return Container::Ioca;
  return state->bReadCC != 0 ? Container::ModcaCarriageControl : Container::Modca;
}

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
  struct stat found;
  if (stat(file.c_str(), &found) != 0) return SystemFailure(K_ERROR_OPEN_READ, errno);
  if (S_ISDIR(found.st_mode)) return SystemFailure(K_ERROR_OPEN_READ, EISDIR);
  if (!S_ISREG(found.st_mode)) {
    return Failure(K_ERROR_OPEN_READ, "only regular files can be read");
  }
  if (found.st_size > INT32_MAX && !FileShift::Far()) {
    return Failure(K_ERROR_SEEK, "the file is larger than 2 GiB, positions don't reach farther");
  }
  errno = 0;
  m_name = file;
  m_size = static_cast<int>(std::clamp<int64_t>(found.st_size - FileShift::Base(), 0, INT32_MAX));
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
  result.container = ContainerMet();
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

  if (result.coding == Coding::Uncompressed) {
    Outcome outcome = FindRecording(page, result);
    if (!outcome.Ok()) return outcome;
  }
  if (countPages || result.coding == Coding::Uncompressed) {
    // Only the raw-data flags tell the order of the bits.
    _LOADINFO raw = {};
    int again = page;
    if (K_RedirectedSeek(m_file, 0, K_SEEK_START) < 0) return Failure(K_ERROR_READ);
    const int described = ReadImageInfo(m_file, &raw, &again, 0, 0);
    if (described != K_SUCCESS) return Failure(described);
    result.reversedBits = (raw.uFlags & K_RAW_REVERSED_BITS) != 0;
  }
  // What a load before may have left there.
  State()->nImageDataLeft = 0;
  info = result;
  return {};
}

// The description tells bottom-up rows only from others.
Outcome PageReader::FindRecording(int page, PageInfo& info) {
  if (K_RedirectedSeek(m_file, 0, K_SEEK_START) < 0) return Failure(K_ERROR_READ);
  if (State()->bReadIPD != 0) {
    int position = 0;
    int status = FindImageObject(m_file, &position, 0);
    for (int i = 1; i < page && status == K_SUCCESS; ++i) {
      status = FindImageObject(m_file, &position, 1);
    }
    if (status != K_SUCCESS) return Failure(status);
    if (K_RedirectedSeek(m_file, position, K_SEEK_START) < 0) return Failure(K_ERROR_READ);
  }
  State()->nIPDLeft = 0;
  for (;;) {
    _ICA_SDF field;
    const int status = ReadICA_SDF(m_file, &field);
    if (status != K_SUCCESS) return Failure(status);
    if (field.wId == sdf::kImageData) return {};
    if (field.wId == sdf::kImageEncoding) {
      info.unpaddedRows = field.abParam[1] == kRecordingUnpaddedRidic;
    }
  }
}

Outcome PageReader::CheckStructure() const {
  if (State()->bReadIPD == 0) return {};
  ImagePlaces found;
  const Outcome outcome = FindImagePlaces(m_name, FileShift::Base(), found);
  return outcome.Ok() ? found.structure : outcome;
}

Outcome PageReader::ExplainFailure(int status) {
  if (m_size == 0) return Failure(status, "the file is empty");
  unsigned char start[kIntroducerLength + 1] = {};
  if (State()->bReadIPD == 0 || K_RedirectedSeek(m_file, 0, K_SEEK_START) < 0) {
    return Failure(status);
  }
  K_RedirectedRead(m_file, start, sizeof(start));
  const int at = start[0] == kCarriageControl ? 1 : 0;
  if (start[at + 2] != kFieldClass) {
    return Failure(status, "this is neither an IOCA image nor a MO:DCA document");
  }
  const Outcome structure = CheckStructure();
  if (!structure.Ok()) return Failure(status, structure.what);
  return status == K_ERROR_READ ? Failure(status, "the document has no image") : Failure(status);
}

Outcome PageReader::ReadPiece(unsigned char* to, unsigned count, int& got, bool& end) {
  int status = K_SUCCESS;
  got = ReadRawIMG(m_file, to, count, &status);
  if (got < 0) return Failure(status == K_SUCCESS ? K_ERROR_READ : status);
  end = got < static_cast<int>(count);
  return {};
}

Outcome PageReader::ReadImageData(std::vector<unsigned char>& data, size_t limit) try {
  bool end = false;
  while (!end && data.size() < limit) {
    const size_t size = data.size();
    data.resize(size + kPiece);
    int got = 0;
    Outcome outcome = ReadPiece(data.data() + size, kPiece, got, end);
    data.resize(size + static_cast<size_t>(std::max(got, 0)));
    if (!outcome.Ok()) return outcome;
  }
  return {};
} catch (const std::bad_alloc&) {
  return Failure(K_ERROR_NO_MEMORY);
}

Outcome PageReader::CountImageData(uint64_t& bytes) {
  std::vector<unsigned char> piece(kPiece);
  bytes = 0;
  for (bool end = false; !end;) {
    int got = 0;
    Outcome outcome = ReadPiece(piece.data(), kPiece, got, end);
    if (!outcome.Ok()) return outcome;
    bytes += static_cast<uint64_t>(got);
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
