#include <algorithm>
#include <cstring>
#include <optional>

#include "Host/Fax/Fax.h"
#include "Host/Fax/FaxMemory.h"
#include "Host/Fax/PageDecoder.h"
#include "Host/Kernel/Kernel.h"

namespace {

int ReadPiece(void* pFile, unsigned char* pBuffer, unsigned int nCount) {
  return K_RedirectedRead(static_cast<tagHANDLE*>(pFile), pBuffer, nCount);
}

}  // namespace

int K_LoadRawFax(_LOADDISPATCH* pDispatch, tagHANDLE* hFile, _LOADINFO* pInfo, void* pContext,
                 _BITMAPHANDLE* pBitmap, K_RowCallback pfnCallback, int nBitsPerPixel,
                 void* pUserData) {
  if (nBitsPerPixel != 1) return K_ERROR_BITS_PER_PIXEL;
  const std::optional<fax::Coding> coding = fax::CodingOf(static_cast<int>(pInfo->nFormat));
  if (!coding || pInfo->nWidth < 1 || pInfo->nWidth > fax::kMaxWidth || pInfo->nHeight < 1 ||
      pInfo->nHeight > fax::kMaxHeight)
    return K_ERROR_INVALID_FORMAT;
  const int nWidth = static_cast<int>(pInfo->nWidth);
  const int nHeight = static_cast<int>(pInfo->nHeight);

  const size_t nWords = fax::RowWords(nWidth);
  const size_t nRowBytes =
      std::max(nWords * sizeof(uint64_t), static_cast<size_t>(std::max(pBitmap->nBytesPerLine, 0)));
  const fax::Memory row(nRowBytes);
  const fax::Memory memory(fax::PageDecoderMemory(nWidth));
  if (!row || !memory) return K_ERROR_NO_MEMORY;

  fax::PageDecoder decoder(*coding, nWidth, nHeight, memory.Bytes(), ReadPiece, hFile,
                           (pInfo->uFlags & K_RAW_REVERSED_BITS) != 0);
  bool bEndOfPage = false;
  for (int nRow = 0; nRow < nHeight; ++nRow) {
    std::memset(row.Bytes(), 0, nRowBytes);
    if (!bEndOfPage) {
      switch (decoder.NextLine()) {
        case fax::LineStatus::Decoded:
          break;
        case fax::LineStatus::Replaced:
          pDispatch->nLoadError = K_ERROR_INVALID_FORMAT;
          break;
        case fax::LineStatus::EndOfPage:
          bEndOfPage = true;
          break;
        case fax::LineStatus::EndOfData:
          return K_ERROR_READ;
        case fax::LineStatus::BadCode:
          if (*coding == fax::Coding::Group4) pDispatch->nLoadError = K_ERROR_G4_DATA;
          return K_ERROR_INVALID_FORMAT;
      }
    }
    if (!bEndOfPage) fax::DrawLine(decoder.Current(), nWidth, row.Words());
    const uint32_t uFlags =
        K_ROW_ALWAYS | (nRow == 0 ? K_ROW_FIRST : 0) | (nRow == nHeight - 1 ? K_ROW_LAST : 0);
    const int nResult = pfnCallback(pContext, pBitmap, row.Bytes(), uFlags, nRow, 1, pUserData);
    if (nResult != K_SUCCESS) return nResult;
  }
  return K_SUCCESS;
}
