// JPEG: coded by the host's routines for pictures in memory.
#include <algorithm>

#include "API/Filters/Ica/Common/Ioca/Coders/Coders.h"
#include "API/Filters/Ica/Common/Ioca/Coders/ExportedCoders.h"
#include "API/Filters/Ica/Common/Ioca/Coders/RowDelivery.h"
#include "API/Filters/Ica/Common/Ioca/Coders/TemporaryBitmap.h"
#include "API/Filters/Ica/Common/Ioca/Segment/ImageDataWriter.h"

namespace {

// Kind under which the host tracks global memory.
constexpr int kResourceGlobalMemory = 3;

}  // namespace

int LoadJpeg(Loading* load) {
  const _LOADDISPATCH* dispatch = load->dispatch;
  dispatch->pBitmap->nViewPerspective = K_VIEW_TOP_DOWN;
  CollectedData data;
  int status = CollectImageData(load->file, load->state, &data);
  if (status != K_SUCCESS) return status;
  _IMAGEFILEINFO fileInfo = {};
  fileInfo.uStructSize = sizeof(fileInfo);
  fileInfo.nFormat = load->info.nFormat;
  fileInfo.uFlags = K_FILEINFO_FORMAT_KNOWN;
  TemporaryBitmap temporary;
  status = temporary.Load(dispatch, data, dispatch->pBitmap->nBitsPerPixel, &fileInfo);
  return status == K_SUCCESS ? SendBitmapRows(load->dispatch, temporary.get()) : status;
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
