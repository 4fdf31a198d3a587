#include "API/Filters/Ica/Common/Ioca/Coders/RowDelivery.h"

#include "Host/Kernel/LocalBlock.h"

namespace {

// Hands one row, counted from 0, of a picture of nHeight rows to the callback.
int SendRow(_LOADDISPATCH* pDispatch, _BITMAPHANDLE* pBitmap, unsigned char* pRow, int nRow,
            int nHeight) {
  uint32_t flags = K_ROW_ALWAYS;
  if (nRow == 0) flags |= K_ROW_FIRST;
  if (nRow == nHeight - 1) flags |= K_ROW_LAST;
  return pDispatch->pfnCallback(pDispatch->pContext, pBitmap, pRow, flags, nRow, 1,
                                pDispatch->pUserData);
}

}  // namespace

int K_SendRawData(_LOADDISPATCH* pDispatch, unsigned char* pRow, int nRow) {
  const int height = pDispatch->pBitmap->nHeight;
  const int result = SendRow(pDispatch, pDispatch->pBitmap, pRow, nRow - 1, height);
  return result == K_SUCCESS && nRow != height ? K_MORE_ROWS : result;
}

int SendBitmapRows(_LOADDISPATCH* pDispatch, _BITMAPHANDLE* pTemp) {
  if (pTemp == nullptr) return 0;
  const auto rowSize = static_cast<size_t>(pTemp->nBytesPerLine);
  const LocalBlock row(rowSize, __LINE__, KZICA_SOURCE);
  if (!row) return K_ERROR_NO_MEMORY;
  int status = K_IntAccessBitmap(pTemp, 0);
  if (status != K_SUCCESS) return status;
  for (int i = 0; i < pTemp->nHeight && status == K_SUCCESS; ++i) {
    const int copied = K_GetBitmapRow(pTemp, row.get(), i, rowSize);
    status = copied > 0 ? SendRow(pDispatch, pTemp, row.get(), i, pTemp->nHeight) : copied;
  }
  K_IntReleaseBitmap(pTemp, 1, status);
  return status;
}

int PrepareTwoColors(_BITMAPHANDLE* pBitmap) {
  if (pBitmap->nHeight <= 0) return K_ERROR_INVALID_FORMAT;
  constexpr unsigned char whiteBlack[] = {0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0};
  if (K_SetBitmapNewPalette(pBitmap, whiteBlack, 2) < 0) return K_ERROR_NO_MEMORY;
  pBitmap->nViewPerspective = K_VIEW_TOP_DOWN;
  return K_SUCCESS;
}
