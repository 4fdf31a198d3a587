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
// NOLINTNEXTLINE(readability-redundant-declaration): this one makes it weak
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

// Has the host's memory loader make a bitmap of the data. Returns 1 or -14.
int LoadMemory(const _LOADDISPATCH* dispatch, const CollectedData& data, int bitsPerPixel,
               _IMAGEFILEINFO* fileInfo, _BITMAPHANDLE* bitmap) {
  if (dispatch->pfnLoadMemory == nullptr) return K_ERROR_OPEN_WRITE;
  const int loaded =
      dispatch->pfnLoadMemory(data.bytes.get(), bitmap, sizeof(_BITMAPHANDLE), bitsPerPixel,
                              dispatch->pBitmap->nColorOrder, data.size, nullptr, fileInfo);
  return loaded == K_SUCCESS ? K_SUCCESS : K_ERROR_OPEN_WRITE;
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
  int status = CollectImageData(load->file, load->state, &data);
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
  TemporaryBitmap temporary;
  status = LoadMemory(dispatch, data, 1, nullptr, temporary.get());
  // Before the rows go out: who takes them may load from memory as well.
  dispatch->pfnSetLoadInfoCallback(former, nullptr);
  return status == K_SUCCESS ? SendBitmapRows(dispatch, temporary.get()) : status;
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
  TemporaryBitmap temporary;
  const int status = LoadMemory(load->dispatch, data, load->dispatch->pBitmap->nBitsPerPixel,
                                &fileInfo, temporary.get());
  return status == K_SUCCESS ? SendBitmapRows(load->dispatch, temporary.get()) : status;
}

// Rows that are read at once, so that most bytes go from the file to where the rows
// go out from and not through the buffer of the file.
constexpr uint32_t kBatchBytes = 256u << 10;

// The rows go out as they are read. They are measured before the first: the row
// size follows from the size of the whole, and data that end too early shall send
// no row at all.
int LoadUncompressedRoad(Loading* load) {
  _LOADDISPATCH* dispatch = load->dispatch;
  const ImageDataStart start(load->file, load->state);
  uint32_t size = 0;
  int status = MeasureImageData(load->file, &size);
  if (status != K_SUCCESS) return status;
  if (!start.Return()) return K_ERROR_READ;

  const auto height = static_cast<uint32_t>(dispatch->pBitmap->nHeight);
  const uint32_t rowSize = size / height + (size % height != 0 ? 1 : 0);
  dispatch->pBitmap->nBytesPerLine = static_cast<int32_t>(rowSize);
  const uint32_t batchRows = std::clamp(kBatchBytes / std::max(rowSize, 1u), 1u, height);
  const LocalBlock batch(size_t{batchRows} * rowSize, __LINE__, KZICA_SOURCE);
  if (!batch) return K_ERROR_NO_MEMORY;
  int result = K_MORE_ROWS;
  unsigned char* row = nullptr;
  // The height ends it, too: a callback may answer 105 itself.
  for (uint32_t n = 0; result == K_MORE_ROWS && n < height; ++n, row += rowSize) {
    if (n % batchRows == 0) {
      row = batch.get();
      const uint32_t count = std::min(batchRows * rowSize, size);
      ReadRawIMG(load->file, row, count, &status);
      if (status != K_SUCCESS) return status;
      size -= count;
      // What the data lack of a row, and of the rows behind it, is 0.
      std::memset(row + count, 0, batchRows * rowSize - count);
    }
    result = K_SendRawData(dispatch, row, static_cast<int>(n + 1));
  }
  return result;
}

int SetAbicPalette(_BITMAPHANDLE* bitmap) {
  if (bitmap->nBitsPerPixel == 1) return K_SUCCESS;
  bitmap->nColors = 16;
  if (bitmap->pPalette != nullptr) K_GlobalFree(bitmap->pPalette, __LINE__, KZICA_SOURCE);
  bitmap->pPalette = nullptr;
  return K_CreateBitmapGrayPalette(bitmap) >= 0 ? K_SUCCESS : K_ERROR_NO_MEMORY;
}

// The bytes of the codec's block. The codec knows the size and the alignment of the
// rows, not the target's row length, and it is a library that anyone may replace.
size_t BlockSize(const unsigned char* block, const _BITMAPHANDLE& bitmap) {
  if (WinGlobalSize != nullptr) return WinGlobalSize(WinGlobalHandle(block));
  const int depth = bitmap.nBitsPerPixel == 1 ? 1 : 4;
  constexpr int64_t alignedBits = int64_t{8} * CODEC_ROW_ALIGNMENT;
  const int64_t rowBits = int64_t{depth} * std::max(bitmap.nWidth, 0);
  const int64_t coded = (rowBits + alignedBits - 1) / alignedBits * CODEC_ROW_ALIGNMENT;
  return static_cast<size_t>(coded * bitmap.nHeight);
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

  if (rows.get() == nullptr || bitmap->nBytesPerLine < 0) return K_ERROR_INVALID_FORMAT;
  const auto rowSize = static_cast<size_t>(bitmap->nBytesPerLine);
  if (BlockSize(rows.get(), *bitmap) < rowSize * static_cast<size_t>(bitmap->nHeight)) {
    return K_ERROR_INVALID_FORMAT;
  }
  int result = K_MORE_ROWS;
  for (int n = 1; result == K_MORE_ROWS && n <= bitmap->nHeight; ++n) {
    result = K_SendRawData(dispatch, rows.get() + static_cast<size_t>(n - 1) * rowSize, n);
  }
  return result;
}

int LoadWithoutFax(Loading* load) {
  _LOADDISPATCH* dispatch = load->dispatch;
  _BITMAPHANDLE* bitmap = dispatch->pBitmap;
  if (load->info.nFormat != RAW_JPEG_444) {
    // The number of rows is the target's.
    if (bitmap->nHeight <= 0) return K_ERROR_INVALID_FORMAT;
    constexpr unsigned char whiteBlack[] = {0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0};
    if (K_SetBitmapNewPalette(bitmap, whiteBlack, 2) < 0) return K_ERROR_NO_MEMORY;
  }
  bitmap->nViewPerspective = K_VIEW_TOP_DOWN;
  if (load->info.nFormat == RAW_UNCOMPRESSED) return LoadUncompressedRoad(load);
  CollectedData data;
  const int status = CollectImageData(load->file, load->state, &data);
  if (status != K_SUCCESS) return status;
  return load->info.nFormat == RAW_ABIC ? LoadAbicRoad(dispatch, &data) : LoadJpegRoad(load, data);
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
  return fax ? LoadFaxRoad(&load, bitsPerPixel) : LoadWithoutFax(&load);
}
