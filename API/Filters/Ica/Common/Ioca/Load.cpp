// The entry point that loads a page: fltLoad, with its three roads.
#include <algorithm>
#include <cstring>

#include "API/Filters/Ica/Common/Ioca/CodecLoader.h"
#include "API/Filters/Ica/Common/Ioca/Decoders.h"
#include "API/Filters/Ica/Common/Ioca/FormatCodes.h"
#include "API/Filters/Ica/Common/Ioca/Guards.h"
#include "API/Filters/Ica/Common/Ioca/ImageDataCollector.h"
#include "API/Filters/Ica/Common/Ioca/ImageDataReader.h"
#include "API/Filters/Ica/Common/Ioca/ImageInfo.h"
#include "API/Filters/Ica/Common/Ioca/RowDelivery.h"
#include "API/Filters/Ica/Common/Thread.h"
#include "Host/Fax/Fax.h"

// Not among the functions that every host has; where it is, it tells how much the
// codec library really delivered.
extern "C" __attribute__((weak)) size_t WinGlobalSize(HGLOBAL hBlock);

namespace {

// One fltLoad call under way.
struct Loading {
  _LOADDISPATCH* dispatch;
  tagHANDLE* file;
  FilterThreadState* state;
  InstalledReadRoutine* readRoutine;
  _LOADINFO info;
};

// Where the image data begin in both streams, to start over from.
class ImageDataStart {
 public:
  ImageDataStart(tagHANDLE* file, FilterThreadState* state)
      : m_file(file),
        m_state(state),
        m_position(K_RedirectedSeek(file, 0, K_SEEK_CURRENT)),
        m_nIPDLeft(state->nIPDLeft) {}

  // Whether the readers stand there again.
  bool Return() const {
    m_state->nIPDLeft = m_nIPDLeft;
    m_state->nImageDataLeft = 0;
    return m_position >= 0 && K_RedirectedSeek(m_file, m_position, K_SEEK_START) >= 0;
  }

 private:
  tagHANDLE* m_file;
  FilterThreadState* m_state;
  int m_position;
  uint32_t m_nIPDLeft;
};

// A bitmap that the host's memory loader makes.
class TemporaryBitmap {
 public:
  TemporaryBitmap() = default;
  ~TemporaryBitmap() {
    if ((m_bitmap.uFlags & K_BITMAP_ALLOCATED) != 0) K_FreeBitmap(&m_bitmap);
  }
  TemporaryBitmap(const TemporaryBitmap&) = delete;
  TemporaryBitmap& operator=(const TemporaryBitmap&) = delete;
  _BITMAPHANDLE* get() { return &m_bitmap; }

 private:
  _BITMAPHANDLE m_bitmap = {};
};

// Has the host's memory loader load the data and sends the rows.
int SendFromMemory(_LOADDISPATCH* dispatch, const CollectedData& data, int bitsPerPixel,
                   _IMAGEFILEINFO* fileInfo) {
  if (dispatch->pfnLoadMemory == nullptr) return K_ERROR_OPEN_WRITE;
  TemporaryBitmap temporary;
  const int loaded = dispatch->pfnLoadMemory(
      data.bytes.get(), temporary.get(), sizeof(_BITMAPHANDLE), bitsPerPixel,
      dispatch->pBitmap->nColorOrder, data.size, nullptr, fileInfo);
  return loaded == K_SUCCESS ? SendBitmapRows(dispatch, temporary.get()) : K_ERROR_OPEN_WRITE;
}

int LoadFax(Loading* load, int bitsPerPixel) {
  _LOADDISPATCH* dispatch = load->dispatch;
  dispatch->nLoadError = 0;
  return K_LoadRawFax(dispatch, load->file, &load->info, dispatch->pContext, dispatch->pBitmap,
                      dispatch->pfnCallback, bitsPerPixel, dispatch->pUserData);
}

// Data that were coded in whole bytes although the width is not: they are loaded
// as so much wider by the memory loader, which learns from the load-info callback
// what they are.
int LoadWidenedGroup4(Loading* load, const ImageDataStart& start) {
  _LOADDISPATCH* dispatch = load->dispatch;
  load->readRoutine->Restore();
  if (!start.Return()) return K_ERROR_READ;
  CollectedData data;
  const int status = CollectImageData(load->file, load->state, &data);
  if (status != K_SUCCESS) return status;
  if (dispatch->pfnSetLoadInfoCallback == nullptr) return K_ERROR_OPEN_WRITE;

  _RAWDATAINFO raw = {};
  raw.nFormat = load->info.nFormat;
  raw.nWidth = (load->info.nWidth + 7) / 8 * 8;
  raw.nHeight = load->info.nHeight;
  raw.nBitsPerPixel = load->info.nBitsPerPixel;
  raw.nViewPerspective = static_cast<uint32_t>(dispatch->pBitmap->nViewPerspective);
  raw.nColorOrder = static_cast<uint32_t>(dispatch->pBitmap->nColorOrder);
  const K_LoadInfoCallback former = dispatch->pfnSetLoadInfoCallback(MyLoadInfoCallBack, &raw);
  const int result = SendFromMemory(dispatch, data, 1, nullptr);
  dispatch->pfnSetLoadInfoCallback(former, nullptr);
  return result;
}

int LoadFaxRoad(Loading* load, int bitsPerPixel) {
  const ImageDataStart start(load->file, load->state);
  const int status = LoadFax(load, bitsPerPixel);
  const int error = load->dispatch->nLoadError;
  const bool again =
      load->info.nFormat == RAW_G4_MMR && (error == K_ERROR_G4_DATA || error == K_ERROR_G4_DATA_2);
  if (!again) return status;
  if (load->info.nWidth % 8 != 0) return LoadWidenedGroup4(load, start);
  return start.Return() ? LoadFax(load, bitsPerPixel) : K_ERROR_READ;
}

int LoadJpegRoad(Loading* load, const CollectedData& data) {
  _IMAGEFILEINFO fileInfo = {};
  fileInfo.uStructSize = sizeof(fileInfo);
  fileInfo.nFormat = load->info.nFormat;
  fileInfo.uFlags = K_FILEINFO_FORMAT_KNOWN;
  return SendFromMemory(load->dispatch, data, load->dispatch->pBitmap->nBitsPerPixel, &fileInfo);
}

// Sends the rows of a source, rowSize bytes each, straight from it. What the
// source lacks of a row, and of the rows behind it, is 0.
int SendSlices(_LOADDISPATCH* dispatch, unsigned char* source, size_t size, size_t rowSize) {
  // The height ends it, too: a callback may answer 105 itself.
  const int height = dispatch->pBitmap->nHeight;
  const size_t whole = rowSize == 0 ? 0 : size / rowSize;
  int result = K_MORE_ROWS;
  int n = 1;
  for (; result == K_MORE_ROWS && n <= height && static_cast<size_t>(n) <= whole; ++n) {
    result = K_SendRawData(dispatch, source + static_cast<size_t>(n - 1) * rowSize, n);
  }
  if (result != K_MORE_ROWS || n > height) return result;

  const LocalBuffer row(rowSize, __LINE__);
  if (!row) return K_ERROR_NO_MEMORY;
  size_t rest = size - whole * rowSize;
  std::memcpy(row.get(), source + (size - rest), rest);
  for (; result == K_MORE_ROWS && n <= height; ++n) {
    std::memset(row.get() + rest, 0, rowSize - rest);
    result = K_SendRawData(dispatch, row.get(), n);
    rest = 0;
  }
  return result;
}

int LoadUncompressedRoad(_LOADDISPATCH* dispatch, const CollectedData& data) {
  const auto height = static_cast<size_t>(dispatch->pBitmap->nHeight);
  const size_t rowSize = (data.size + height - 1) / height;
  dispatch->pBitmap->nBytesPerLine = static_cast<int32_t>(rowSize);
  return SendSlices(dispatch, data.bytes.get(), data.size, rowSize);
}

int SetAbicPalette(_BITMAPHANDLE* bitmap) {
  if (bitmap->nBitsPerPixel == 1) return K_SUCCESS;
  bitmap->nColors = 16;
  if (bitmap->pPalette != nullptr) K_GlobalFree(bitmap->pPalette, __LINE__, KZICA_SOURCE);
  bitmap->pPalette = nullptr;
  return K_CreateBitmapGrayPalette(bitmap) > 0 ? K_SUCCESS : K_ERROR_NO_MEMORY;
}

int LoadAbicRoad(_LOADDISPATCH* dispatch, CollectedData* data) {
  _BITMAPHANDLE* bitmap = dispatch->pBitmap;
  int status = SetAbicPalette(bitmap);
  if (status != K_SUCCESS) return status;
  GlobalOutput rows;
  status = K_ABICInitDecoder(dispatch, data->bytes.get(), rows.slot(),
                             static_cast<unsigned>(data->size));
  data->bytes.Reset();
  if (status != K_SUCCESS) return status;

  // The codec knows the size and the alignment of the rows, not the target's row
  // length, and it is a library that anyone may replace.
  const auto rowSize = static_cast<size_t>(bitmap->nBytesPerLine);
  const int depth = bitmap->nBitsPerPixel == 1 ? 1 : 4;
  constexpr size_t alignedBits = size_t{8} * CODEC_ROW_ALIGNMENT;
  const size_t rowBits = static_cast<size_t>(bitmap->nWidth) * static_cast<size_t>(depth);
  const size_t coded = (rowBits + alignedBits - 1) / alignedBits * CODEC_ROW_ALIGNMENT;
  const size_t size = rowSize * static_cast<size_t>(bitmap->nHeight);
  if (rows.get() == nullptr || rowSize > coded ||
      (WinGlobalSize != nullptr && WinGlobalSize(WinGlobalHandle(rows.get())) < size)) {
    return K_ERROR_INVALID_FORMAT;
  }
  return SendSlices(dispatch, rows.get(), size, rowSize);
}

int LoadInMemory(Loading* load) {
  _LOADDISPATCH* dispatch = load->dispatch;
  _BITMAPHANDLE* bitmap = dispatch->pBitmap;
  if (bitmap->nHeight <= 0 || bitmap->nWidth <= 0) return K_ERROR_INVALID_FORMAT;
  if (load->info.nFormat != RAW_JPEG_444) {
    constexpr unsigned char whiteBlack[] = {0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0};
    if (K_SetBitmapNewPalette(bitmap, whiteBlack, 2) <= 0) return K_ERROR_NO_MEMORY;
  }
  bitmap->nViewPerspective = K_VIEW_TOP_DOWN;
  CollectedData data;
  const int status = CollectImageData(load->file, load->state, &data);
  if (status != K_SUCCESS) return status;
  switch (load->info.nFormat) {
    case RAW_ABIC:
      return LoadAbicRoad(dispatch, &data);
    case RAW_UNCOMPRESSED:
      return LoadUncompressedRoad(dispatch, data);
    default:
      return LoadJpegRoad(load, data);
  }
}

}  // namespace

int fltLoad(_LOADDISPATCH* pDispatch) {
  FilterThreadState* state = ThreadState();
  const int bitsPerPixel = pDispatch->pBitmap->nBitsPerPixel;
  const OpenedFile file(pDispatch->pszFileName, K_OPEN_READ, K_MODE_READABLE);
  if (!file) return K_ERROR_OPEN_READ;

  Loading load{pDispatch, file.get(), state, nullptr, {}};
  const _LOADOPTIONS* options = pDispatch->pLoadOptions;
  int page = options->nPageNumber;
  if (ReadImageInfo(file.get(), &load.info, &page, options->nXResolution, options->nYResolution) !=
      K_SUCCESS) {
    return K_ERROR_INVALID_FORMAT;
  }
  const FormatRow* row = FindFormatCode(load.info.nFormat).row;
  if (row != nullptr) load.info.nFormat = row->raw;

  state->nImageDataLeft = 0;
  InstalledReadRoutine readRoutine(state, ReadIMG);
  load.readRoutine = &readRoutine;
  const bool fax = row == nullptr || row->coding == Coding::Fax;
  return fax ? LoadFaxRoad(&load, bitsPerPixel) : LoadInMemory(&load);
}
