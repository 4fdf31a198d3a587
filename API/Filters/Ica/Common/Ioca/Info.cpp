// The entry point that describes a page of a file: fltInfo.
#include <algorithm>
#include <cstring>

#include "API/Filters/Ica/Common/Ioca/ImageInfo.h"
#include "API/Filters/Ica/Common/Thread.h"
#include "Format/Compression.h"

namespace {

// Asking for a page that no file reaches counts the pages.
constexpr int kBeyondLastPage = 32767;

// The number of pages; 0 when the file can't be described.
int CountPages(tagHANDLE* file, const _LOADOPTIONS* options) {
  if (K_RedirectedSeek(file, 0, K_SEEK_START) < 0) return 0;
  _LOADINFO info;
  int page = kBeyondLastPage;
  const int status =
      ReadImageInfo(file, &info, &page, options->nXResolution, options->nYResolution);
  return status == K_SUCCESS ? page : 0;
}

}  // namespace

int fltInfo(_INFODISPATCH* pDispatch) {
  FilterThreadState* state = ThreadState();
  state->bReadCC = 0;
  tagHANDLE* file = pDispatch->hFile;
  const _LOADOPTIONS* options = pDispatch->pLoadOptions;

  int pages = 0;
  if (pDispatch->pInfoOptions != nullptr &&
      (pDispatch->pInfoOptions->uFlags & K_INFO_TOTAL_PAGES) != 0) {
    pages = CountPages(file, options);
  }

  state->bReadIPD = 1;
  BindRead(state);
  if (K_RedirectedSeek(file, 0, K_SEEK_START) < 0) return K_ERROR_READ;
  _LOADINFO info;
  int page = options->nPageNumber;
  const int status =
      ReadImageInfo(file, &info, &page, options->nXResolution, options->nYResolution);
  if (status != K_SUCCESS) return status;

  _IMAGEFILEINFO* result = pDispatch->pFileInfo;
  result->nFormat = info.nFormat;
  const kz::CompressionRow* row = kz::FindFormatCode(info.nFormat).row;
  if (row == nullptr) return K_ERROR_INVALID_FORMAT;
  std::memset(result->szCompression, 0, sizeof(result->szCompression));
  std::strncpy(result->szCompression, row->name, sizeof(result->szCompression) - 1);

  result->nPageNumber = static_cast<uint32_t>(page);
  result->nTotalPages = static_cast<uint32_t>(pages != 0 ? pages : page);
  result->nWidth = info.nWidth;
  result->nHeight = info.nHeight;
  result->nBitsPerPixel = info.nBitsPerPixel;
  result->nViewPerspective = static_cast<uint32_t>(
      (info.uFlags & K_RAW_TOP_DOWN) != 0 ? K_VIEW_TOP_DOWN : K_VIEW_BOTTOM_UP);
  result->nColorOrder =
      static_cast<uint32_t>((info.uFlags & K_RAW_RGB_ORDER) == 0 ? K_ORDER_BGR : K_ORDER_RGB);
  result->uSizeMem = uint64_t{info.nHeight} * ((info.nWidth * info.nBitsPerPixel + 7) / 8);
  result->nXResolution = info.nXResolution;
  result->nYResolution = info.nYResolution;
  result->uFlags |= K_FILEINFO_DESCRIBED;
  return K_SUCCESS;
}
