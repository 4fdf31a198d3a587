// Group 3, Group 4 and IBM MMR: coded by the host's fax library.
#include <algorithm>
#include <iterator>

#include "API/Filters/Ica/Common/Ioca/Coders/Coders.h"
#include "API/Filters/Ica/Common/Ioca/Coders/ExportedCoders.h"
#include "API/Filters/Ica/Common/Ioca/Coders/RowDelivery.h"
#include "API/Filters/Ica/Common/Ioca/Coders/TemporaryBitmap.h"
#include "Host/Fax/Fax.h"

namespace {

// Raw-data flag of each view perspective; 0 and those above 8 have none.
uint32_t PerspectiveFlag(uint32_t nViewPerspective) {
  constexpr uint32_t flags[] = {0,      K_RAW_TOP_DOWN, 0x0200, 0x0080, 0x0040,
                                0x0100, 0x0010,         0x0400, 0x0020};
  return nViewPerspective < std::size(flags) ? flags[nViewPerspective] : 0;
}

int Decode(Loading* load) {
  _LOADDISPATCH* dispatch = load->dispatch;
  dispatch->nLoadError = 0;
  return K_LoadRawFax(dispatch, load->file, &load->info, dispatch->pContext, dispatch->pBitmap,
                      dispatch->pfnCallback, load->bitsPerPixel, dispatch->pUserData);
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
  status = temporary.Load(dispatch, data, 1, nullptr);
  // Before the rows go out: who takes them may load from memory as well.
  dispatch->pfnSetLoadInfoCallback(former, nullptr);
  return status == K_SUCCESS ? SendBitmapRows(dispatch, temporary.get()) : status;
}

}  // namespace

int LoadFax(Loading* load) {
  const ImageDataStart start(load->file, load->state);
  const int status = Decode(load);
  const int error = load->dispatch->nLoadError;
  const bool again = load->row->compression == kz::Compression::Group4 &&
                     (error == K_ERROR_G4_DATA || error == K_ERROR_G4_DATA_2);
  if (!again) return status;
  if (load->info.nWidth % 8 != 0) return LoadWidenedGroup4(load, start);
  return start.Return() ? Decode(load) : K_ERROR_READ;
}

int MyLoadInfoCallBack(int, _LOADINFO* pInfo, void* pUser) {
  constexpr uint32_t resolution = 150;
  const auto* raw = static_cast<const _RAWDATAINFO*>(pUser);
  pInfo->nFormat = raw->nFormat;
  pInfo->nWidth = raw->nWidth;
  pInfo->nHeight = raw->nHeight;
  pInfo->nBitsPerPixel = raw->nBitsPerPixel;
  pInfo->nXResolution = resolution;
  pInfo->nYResolution = resolution;
  pInfo->uFlags = PerspectiveFlag(raw->nViewPerspective);
  if (raw->bFlag800 != 0) pInfo->uFlags |= K_RAW_FLAG_800;
  if (raw->nColorOrder == uint32_t{K_ORDER_RGB}) pInfo->uFlags |= K_RAW_RGB_ORDER;
  if (raw->bReverseBits != 0) pInfo->uFlags |= K_RAW_REVERSED_BITS;
  if (raw->nBitsPerPixel <= 8) {
    pInfo->uFlags |= K_RAW_PALETTE;
    const uint32_t entries = 1u << raw->nBitsPerPixel;
    for (uint32_t i = 0; i < entries; ++i) {
      std::fill_n(pInfo->aPalette[i], 3, static_cast<unsigned char>(i * 256 / entries));
      pInfo->aPalette[i][3] = 0;
    }
  }
  return K_SUCCESS;
}

int SaveFax(_SAVEDISPATCH* pSave, tagHANDLE* handle) {
  return K_SaveRawFax(pSave, handle, pSave->pBitmap, pSave->nBitsPerPixel, pSave->nFormat,
                      pSave->uHostFlags, pSave->pfnHostCallback, pSave->pHostUserData, nullptr, 0,
                      nullptr, nullptr);
}
