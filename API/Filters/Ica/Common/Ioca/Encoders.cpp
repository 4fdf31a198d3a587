#include "API/Filters/Ica/Common/Ioca/Encoders.h"

#include <algorithm>
#include <cstring>

#include "API/Filters/Ica/Common/Ioca/CodecLoader.h"
#include "API/Filters/Ica/Common/Ioca/FormatCodes.h"
#include "API/Filters/Ica/Common/Ioca/Guards.h"
#include "API/Filters/Ica/Common/Ioca/ImageDataWriter.h"
#include "API/Filters/Ica/Common/Thread.h"

namespace {

// Kind under which the host tracks global memory.
constexpr int kResourceGlobalMemory = 3;
// In the colour table: the blue of entry 0, and what it takes to be called light.
constexpr int kBlueOfEntry0 = 10;
constexpr unsigned char kLight = 0x7F;

// The host's conversion of a bitmap's rows, ended on every path.
class RowConversion {
 public:
  explicit RowConversion(_SAVEDISPATCH* pSave) : m_save(pSave) {
    m_status =
        pSave->pfnBeginRows(pSave->pBitmap, &m_context, pSave->nBitsPerPixel, &pSave->uHostFlags,
                            &m_row, 1, pSave->pfnHostCallback, pSave->pHostUserData, &m_colorTable);
  }
  ~RowConversion() {
    m_save->pfnEndRows(m_save->pBitmap, &m_context, &m_save->uHostFlags, &m_row, &m_colorTable);
  }
  RowConversion(const RowConversion&) = delete;
  RowConversion& operator=(const RowConversion&) = delete;

  // Above 0 when the conversion has begun, else why not.
  int status() const { return m_status; }

  // Appends the first count bytes of a row, counted from 0, to `to`. In 1-bit
  // images a 0 bit is stored as white. Returns above 0, or the failure.
  int CopyRow(int nRow, unsigned char* to, size_t count) const {
    const int status =
        m_save->pfnGetRow(m_save->pBitmap, m_context, m_row, nRow, 1, m_save->uHostFlags,
                          m_save->pfnHostCallback, m_save->pHostUserData, m_colorTable);
    if (status <= 0) return status;
    const bool invert = m_save->nBitsPerPixel == 1 && m_colorTable[kBlueOfEntry0] < kLight;
    if (invert) {
      std::transform(m_row, m_row + count, to,
                     [](unsigned char byte) { return static_cast<unsigned char>(~byte); });
    } else {
      std::memcpy(to, m_row, count);
    }
    return status;
  }

 private:
  _SAVEDISPATCH* m_save;
  void* m_context = nullptr;
  unsigned char* m_row = nullptr;
  unsigned char* m_colorTable = nullptr;
  int m_status;
};

size_t BitsToBytes(int nWidth, int nBitsPerPixel) {
  return (static_cast<size_t>(nWidth) * static_cast<size_t>(nBitsPerPixel) + 7) / 8;
}

int EncodeUncompressed(_SAVEDISPATCH* pSave, tagHANDLE* handle) {
  const _BITMAPHANDLE* bitmap = pSave->pBitmap;
  const size_t rowLength = BitsToBytes(bitmap->nWidth, pSave->nBitsPerPixel);
  const size_t room = std::max(rowLength, size_t{ThreadState()->nMaxSegmentData});
  const LocalBlock batch(room, __LINE__, KZICA_SOURCE);
  if (!batch) return K_ERROR_NO_MEMORY;
  const RowConversion rows(pSave);
  if (rows.status() <= 0) return rows.status();

  size_t gathered = 0;
  int status = K_SUCCESS;
  for (int row = 0; row < bitmap->nHeight; ++row) {
    if (gathered + rowLength > room) {
      WriteRawIMG(handle, batch.get(), static_cast<unsigned>(gathered), &status);
      if (status != K_SUCCESS) return status;
      gathered = 0;
    }
    const int result = rows.CopyRow(row, batch.get() + gathered, rowLength);
    if (result <= 0) return result;
    gathered += rowLength;
  }
  WriteRawIMG(handle, batch.get(), static_cast<unsigned>(gathered), &status);
  return status;
}

}  // namespace

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
  const RowConversion rows(pSave);
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

int K_JPEGInitEncoder(_SAVEDISPATCH* pSave, tagHANDLE* handle) {
  constexpr int bestQuality = 2;
  constexpr int smallest = 255;
  HGLOBAL block = nullptr;
  uint64_t size = 0;
  int status =
      pSave->pfnSaveToMemory(&block, pSave->pBitmap, pSave->nFormat, pSave->nBitsPerPixel,
                             std::clamp(pSave->nQFactor, bestQuality, smallest), &size, nullptr);
  if (status != K_SUCCESS) return status;
  K_ResourceAdd(kResourceGlobalMemory, block, __LINE__, KZICA_SOURCE);
  auto* bytes = static_cast<unsigned char*>(WinGlobalLock(block));
  WriteRawIMG(handle, bytes, static_cast<unsigned>(size), &status);
  WinGlobalUnlock(block);
  K_OsFreeHandle(block, __LINE__, KZICA_SOURCE);
  return status;
}

int K_InitEncoder(_SAVEDISPATCH* pSave, tagHANDLE* handle) {
  _BITMAPHANDLE* bitmap = pSave->pBitmap;
  if (bitmap->nViewPerspective != K_VIEW_TOP_DOWN) {
    K_ChangeBitmapViewPerspective(nullptr, bitmap, bitmap->uStructSize, K_VIEW_TOP_DOWN);
  }
  int status;
  switch (static_cast<uint32_t>(pSave->nFormat)) {
    case RAW_UNCOMPRESSED:
      status = EncodeUncompressed(pSave, handle);
      break;
    case RAW_ABIC:
      status = K_ABICInitEncoder(pSave, handle);
      break;
    default:
      status = K_JPEGInitEncoder(pSave, handle);
      break;
  }
  return status > 0 ? K_SUCCESS : status;
}
