#include "API/Filters/Ica/Common/Ioca/Decoders.h"

#include <algorithm>
#include <iterator>

#include "API/Filters/Ica/Common/Ioca/CodecLoader.h"

namespace {

// Raw-data flag of each view perspective; 0 and those above 8 have none.
uint32_t PerspectiveFlag(uint32_t nViewPerspective) {
  constexpr uint32_t flags[] = {0,      K_RAW_TOP_DOWN, 0x0200, 0x0080, 0x0040,
                                0x0100, 0x0010,         0x0400, 0x0020};
  return nViewPerspective < std::size(flags) ? flags[nViewPerspective] : 0;
}

}  // namespace

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

int K_ABICInitDecoder(_LOADDISPATCH* pDispatch, unsigned char* pData, unsigned char** ppOut,
                      unsigned int nSize) {
  const CodecUse codec;
  const auto decode = codec.Find<DecodeAbicRoutine>("K_DecodeABIC");
  if (decode == nullptr) return K_ERROR_NO_ABIC_DECODER;
  const _BITMAPHANDLE* bitmap = pDispatch->pBitmap;
  return decode(pData, nSize, ppOut, CODEC_ROW_ALIGNMENT, bitmap->nWidth, bitmap->nHeight,
                bitmap->nBitsPerPixel == 1 ? 1 : 0);
}
