#include <algorithm>
#include <climits>
#include <cstring>

#include "Host/Kernel/Kernel.h"

namespace {

constexpr const char* kSource = "Host/Kernel/Bitmap";
constexpr size_t kPaletteEntryBytes = 4;

unsigned char* StoredRow(const _BITMAPHANDLE* bitmap, int row) {
  return bitmap->pRows + static_cast<size_t>(row) * static_cast<size_t>(bitmap->nRowBytes);
}

// The bytes of a row copy; a negative status when the row isn't there.
int CheckRow(const _BITMAPHANDLE* bitmap, int row, size_t bytes) {
  if (bitmap == nullptr || bitmap->pRows == nullptr) return K_ERROR_NO_MEMORY;
  if (row < 0 || row >= bitmap->nHeight) return K_ERROR_INVALID_FORMAT;
  return static_cast<int>(std::min(bytes, static_cast<size_t>(bitmap->nRowBytes)));
}

}  // namespace

int K_BitmapBytesPerLine(int nWidth, int nBitsPerPixel) {
  const bool known =
      nBitsPerPixel == 1 || nBitsPerPixel == 4 || nBitsPerPixel == 8 || nBitsPerPixel == 24;
  if (nWidth <= 0 || !known) return -1;
  const int64_t bytes = (int64_t{nWidth} * nBitsPerPixel + 31) / 32 * 4;
  return bytes <= INT_MAX ? static_cast<int>(bytes) : -1;
}

int K_CreateBitmap(_BITMAPHANDLE* pBitmap, uint32_t uStructSize, int nWidth, int nHeight,
                   int nBitsPerPixel, int nColorOrder, int nViewPerspective) {
  *pBitmap = {};
  if (uStructSize != sizeof(_BITMAPHANDLE) || nWidth <= 0 || nHeight <= 0) {
    return K_ERROR_INVALID_FORMAT;
  }
  const int bytesPerLine = K_BitmapBytesPerLine(nWidth, nBitsPerPixel);
  if (bytesPerLine < 0) return K_ERROR_BITS_PER_PIXEL;
  void* rows = K_LocalAllocInit(static_cast<size_t>(bytesPerLine), static_cast<size_t>(nHeight),
                                __LINE__, kSource);
  if (rows == nullptr) return K_ERROR_NO_MEMORY;
  pBitmap->uStructSize = uStructSize;
  pBitmap->nWidth = nWidth;
  pBitmap->nHeight = nHeight;
  pBitmap->nBitsPerPixel = nBitsPerPixel;
  pBitmap->nBytesPerLine = bytesPerLine;
  pBitmap->nRowBytes = bytesPerLine;
  pBitmap->uFlags = K_BITMAP_ALLOCATED;
  pBitmap->nColorOrder = nColorOrder;
  pBitmap->nViewPerspective = nViewPerspective;
  pBitmap->pRows = static_cast<unsigned char*>(rows);
  return K_SUCCESS;
}

void K_FreeBitmap(_BITMAPHANDLE* pBitmap) {
  if (pBitmap == nullptr) return;
  K_LocalFree(pBitmap->pRows, __LINE__, kSource);
  K_GlobalFree(pBitmap->pPalette, __LINE__, kSource);
  *pBitmap = {};
}

int K_IntAccessBitmap(_BITMAPHANDLE* pBitmap, int) {
  if (pBitmap == nullptr || pBitmap->pRows == nullptr) return K_ERROR_NO_MEMORY;
  ++pBitmap->nAccess;
  return K_SUCCESS;
}

int K_IntReleaseBitmap(_BITMAPHANDLE* pBitmap, int, int) {
  if (pBitmap != nullptr && pBitmap->nAccess > 0) --pBitmap->nAccess;
  return K_SUCCESS;
}

int K_GetBitmapRow(_BITMAPHANDLE* pBitmap, unsigned char* pRow, int nRow, size_t nBytes) {
  const int bytes = CheckRow(pBitmap, nRow, nBytes);
  if (bytes > 0) std::memcpy(pRow, StoredRow(pBitmap, nRow), static_cast<size_t>(bytes));
  return bytes;
}

int K_PutBitmapRow(_BITMAPHANDLE* pBitmap, const unsigned char* pRow, int nRow, size_t nBytes) {
  const int bytes = CheckRow(pBitmap, nRow, nBytes);
  if (bytes > 0) std::memcpy(StoredRow(pBitmap, nRow), pRow, static_cast<size_t>(bytes));
  return bytes;
}

int K_SetBitmapNewPalette(_BITMAPHANDLE* pBitmap, const unsigned char* pEntries, int nColors) {
  const size_t bytes = static_cast<size_t>(std::clamp(nColors, 0, 256)) * kPaletteEntryBytes;
  void* palette = WinGlobalLock(WinGlobalAlloc(0, bytes));
  if (palette == nullptr) return K_ERROR_NO_MEMORY;
  std::memcpy(palette, pEntries, bytes);
  K_GlobalFree(pBitmap->pPalette, __LINE__, kSource);
  pBitmap->pPalette = static_cast<unsigned char*>(palette);
  pBitmap->nColors = static_cast<int32_t>(bytes / kPaletteEntryBytes);
  return K_SUCCESS;
}

int K_CreateBitmapGrayPalette(_BITMAPHANDLE* pBitmap) {
  unsigned char entries[256][kPaletteEntryBytes] = {};
  const int colors = std::clamp(pBitmap->nColors, 0, 256);
  for (int i = 0; i < colors; ++i) {
    const auto gray = static_cast<unsigned char>(colors > 1 ? i * 255 / (colors - 1) : 0);
    std::fill_n(entries[i], 3, gray);
  }
  return K_SetBitmapNewPalette(pBitmap, entries[0], colors);
}

int K_ChangeBitmapViewPerspective(_BITMAPHANDLE* pCopy, _BITMAPHANDLE* pBitmap,
                                  uint32_t uStructSize, int nViewPerspective) {
  if (nViewPerspective != K_VIEW_TOP_DOWN && nViewPerspective != K_VIEW_BOTTOM_UP) {
    return K_ERROR_INVALID_FORMAT;
  }
  if (pBitmap->pRows == nullptr) return K_ERROR_NO_MEMORY;
  _BITMAPHANDLE* target = pBitmap;
  if (pCopy != nullptr) {
    const int status =
        K_CreateBitmap(pCopy, uStructSize, pBitmap->nWidth, pBitmap->nHeight,
                       pBitmap->nBitsPerPixel, pBitmap->nColorOrder, pBitmap->nViewPerspective);
    if (status != K_SUCCESS) return status;
    pCopy->nXResolution = pBitmap->nXResolution;
    pCopy->nYResolution = pBitmap->nYResolution;
    if (pBitmap->pPalette != nullptr &&
        K_SetBitmapNewPalette(pCopy, pBitmap->pPalette, pBitmap->nColors) != K_SUCCESS) {
      K_FreeBitmap(pCopy);
      return K_ERROR_NO_MEMORY;
    }
    std::memcpy(pCopy->pRows, pBitmap->pRows,
                static_cast<size_t>(pBitmap->nRowBytes) * static_cast<size_t>(pBitmap->nHeight));
    target = pCopy;
  }
  if (target->nViewPerspective != nViewPerspective) {
    for (int top = 0, bottom = target->nHeight - 1; top < bottom; ++top, --bottom) {
      std::swap_ranges(StoredRow(target, top), StoredRow(target, top) + target->nRowBytes,
                       StoredRow(target, bottom));
    }
    target->nViewPerspective = nViewPerspective;
  }
  return K_SUCCESS;
}
