#include <algorithm>
#include <cstring>
#include <optional>

#include "Host/Fax/Decoding/PageDecoder.h"
#include "Host/Fax/Fax.h"
#include "Host/Fax/FaxMemory.h"
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
  if (!coding || !fax::IsPageSize(pInfo->nWidth, pInfo->nHeight)) return K_ERROR_INVALID_FORMAT;
  const int nWidth = static_cast<int>(pInfo->nWidth);
  const int nHeight = static_cast<int>(pInfo->nHeight);

  const size_t nDrawn = fax::RowWords(nWidth) * sizeof(uint64_t);
  const size_t nRowBytes =
      std::max(nDrawn, static_cast<size_t>(std::max(pBitmap->nBytesPerLine, 0)));
  const LocalBlock row(nRowBytes + sizeof(uint64_t), __LINE__, fax::kSource);
  const fax::DecoderMemory memory(nWidth);
  if (!row || !memory) return K_ERROR_NO_MEMORY;

  fax::PieceSource source{memory.piece.As<unsigned char>(), ReadPiece, hFile,
                          (pInfo->uFlags & K_RAW_REVERSED_BITS) != 0};
  fax::PageDecoder decoder(*coding, nWidth, nHeight, source, memory.line.As<uint16_t>(),
                           memory.reference.As<uint16_t>(), memory.pixels.As<uint64_t>());
  unsigned char* const pRow = row.As<unsigned char>();
  fax::LineStatus status = fax::LineStatus::Decoded;
  for (int nRow = 0; nRow < nHeight; ++nRow) {
    if (status != fax::LineStatus::EndOfPage) status = decoder.NextLine();
    switch (status) {
      case fax::LineStatus::Decoded:
      case fax::LineStatus::EndOfPage:
        break;
      case fax::LineStatus::Replaced:
        pDispatch->nLoadError = K_ERROR_INVALID_FORMAT;
        break;
      case fax::LineStatus::EndOfData:
        return K_ERROR_READ;
      case fax::LineStatus::BadCode:
        if (*coding == fax::Coding::Group4) pDispatch->nLoadError = K_ERROR_G4_DATA;
        return K_ERROR_INVALID_FORMAT;
    }
    // The callback may have changed the row, its padding too.
    decoder.Draw(row.As<uint64_t>());
    std::memset(pRow + nDrawn, 0, nRowBytes - nDrawn);
    const uint32_t uFlags =
        K_ROW_ALWAYS | (nRow == 0 ? K_ROW_FIRST : 0) | (nRow == nHeight - 1 ? K_ROW_LAST : 0);
    const int nResult = pfnCallback(pContext, pBitmap, pRow, uFlags, nRow, 1, pUserData);
    if (nResult != K_SUCCESS) return nResult;
  }
  return K_SUCCESS;
}
