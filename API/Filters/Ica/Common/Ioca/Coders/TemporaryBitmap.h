// The host's memory loader at work.
#pragma once

#include "API/Filters/Ica/Common/Ioca/Segment/ImageDataCollector.h"

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

  // Has the loader make it of the data. Returns 1 or -14.
  int Load(const _LOADDISPATCH* dispatch, const CollectedData& data, int bitsPerPixel,
           _IMAGEFILEINFO* fileInfo) {
    if (dispatch->pfnLoadMemory == nullptr) return K_ERROR_OPEN_WRITE;
    const int loaded =
        dispatch->pfnLoadMemory(data.bytes.get(), &m_bitmap, sizeof(_BITMAPHANDLE), bitsPerPixel,
                                dispatch->pBitmap->nColorOrder, data.size, nullptr, fileInfo);
    return loaded == K_SUCCESS ? K_SUCCESS : K_ERROR_OPEN_WRITE;
  }

 private:
  _BITMAPHANDLE m_bitmap = {};
};
