// ABIC: coded by the codec library.
#include <algorithm>
#include <cstring>

#include "API/Filters/Ica/Common/Ioca/Coders/CodecLoader.h"
#include "API/Filters/Ica/Common/Ioca/Coders/Coders.h"
#include "API/Filters/Ica/Common/Ioca/Coders/ConvertedRows.h"
#include "API/Filters/Ica/Common/Ioca/Coders/ExportedCoders.h"
#include "API/Filters/Ica/Common/Ioca/Coders/RowDelivery.h"
#include "API/Filters/Ica/Common/Ioca/Segment/ImageDataCollector.h"
#include "API/Filters/Ica/Common/Ioca/Segment/ImageDataWriter.h"

// Not among the functions that every host has; where it is, it tells how much the
// codec library really delivered.
// NOLINTNEXTLINE(readability-redundant-declaration): this one makes it weak
extern "C" __attribute__((weak)) size_t WinGlobalSize(HGLOBAL hBlock);

namespace {

// A global memory block that the codec library handed out by its pointer.
class GlobalOutput {
 public:
  GlobalOutput() = default;
  ~GlobalOutput() {
    if (m_bytes != nullptr) WinGlobalFree(WinGlobalHandle(m_bytes));
  }
  GlobalOutput(const GlobalOutput&) = delete;
  GlobalOutput& operator=(const GlobalOutput&) = delete;

  unsigned char* get() const { return m_bytes; }
  unsigned char** slot() { return &m_bytes; }

 private:
  unsigned char* m_bytes = nullptr;
};

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

}  // namespace

int LoadAbic(Loading* load) {
  _LOADDISPATCH* dispatch = load->dispatch;
  _BITMAPHANDLE* bitmap = dispatch->pBitmap;
  int status = PrepareTwoColors(bitmap);
  if (status != K_SUCCESS) return status;
  CollectedData data;
  status = CollectImageData(load->file, load->state, &data);
  if (status == K_SUCCESS) status = SetAbicPalette(bitmap);
  if (status != K_SUCCESS) return status;
  GlobalOutput rows;
  status =
      K_ABICInitDecoder(dispatch, data.bytes.get(), rows.slot(), static_cast<unsigned>(data.size));
  data.bytes.Reset();
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

int K_ABICInitDecoder(_LOADDISPATCH* pDispatch, unsigned char* pData, unsigned char** ppOut,
                      unsigned int nSize) {
  const CodecUse codec;
  const auto decode = codec.Find<DecodeAbicRoutine>("K_DecodeABIC");
  if (decode == nullptr) return K_ERROR_NO_ABIC_DECODER;
  const _BITMAPHANDLE* bitmap = pDispatch->pBitmap;
  return decode(pData, nSize, ppOut, CODEC_ROW_ALIGNMENT, bitmap->nWidth, bitmap->nHeight,
                bitmap->nBitsPerPixel == 1 ? 1 : 0);
}

int K_ABICInitEncoder(_SAVEDISPATCH* pSave, tagHANDLE* handle) {
  const _BITMAPHANDLE* bitmap = pSave->pBitmap;
  // The codec takes rows of its own alignment, whatever the bitmap's rows have.
  const size_t rowLength =
      (BitsToBytes(bitmap->nWidth, pSave->nBitsPerPixel) + CODEC_ROW_ALIGNMENT - 1) /
      CODEC_ROW_ALIGNMENT * CODEC_ROW_ALIGNMENT;
  const size_t copied = std::min(rowLength, static_cast<size_t>(bitmap->nBytesPerLine));
  GlobalOutput encoded;
  uint64_t size = 0;
  const auto height = static_cast<size_t>(bitmap->nHeight);
  LocalBlock image(rowLength * height, __LINE__, KZICA_SOURCE);
  if (!image) return K_ERROR_NO_MEMORY;
  const ConvertedRows rows(pSave);
  if (rows.status() <= 0) return rows.status();
  {
    const CodecUse codec;
    const auto encode = codec.Find<EncodeAbicRoutine>("K_EncodeABIC");
    if (encode == nullptr) return K_ERROR_NO_ABIC_ENCODER;
    for (size_t row = 0; row < height; ++row) {
      unsigned char* to = image.get() + row * rowLength;
      std::memset(to + copied, 0, rowLength - copied);
      const int result = rows.CopyRow(static_cast<int>(row), to, copied);
      if (result <= 0) return result;
    }
    const int status = encode(image.get(), CODEC_ROW_ALIGNMENT, bitmap->nWidth, bitmap->nHeight,
                              encoded.slot(), &size, pSave->nBitsPerPixel == 1 ? 1 : 0);
    if (status != K_SUCCESS) return status;
    if (encoded.get() == nullptr) return K_ERROR_NO_ABIC_ENCODER;
  }
  image.Reset();
  int status = K_SUCCESS;
  WriteRawIMG(handle, encoded.get(), static_cast<unsigned>(size), &status);
  return status;
}
