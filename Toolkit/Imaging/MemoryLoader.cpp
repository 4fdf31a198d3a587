#include "Toolkit/Imaging/MemoryLoader.h"

#include "Host/Fax/Fax.h"
#include "Host/Kernel/Kernel.h"
#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/Imaging/FaxData.h"
#include "Toolkit/Imaging/JpegCodec.h"
#include "Toolkit/Imaging/RowConversion.h"

namespace kz {

namespace {

struct InstalledCallback {
  K_LoadInfoCallback callback = nullptr;
  void* userData = nullptr;
};

thread_local InstalledCallback t_installed;
thread_local InstalledCallback t_displaced;
thread_local int t_damage = K_SUCCESS;

// Raw-data flags of the view perspectives 1 to 8.
constexpr uint32_t kPerspectiveFlags[] = {0x001, 0x200, 0x080, 0x040, 0x100, 0x010, 0x400, 0x020};

bool IsFaxFormat(uint32_t format) {
  return format == K_FAX_G3_1D || format == K_FAX_G3_2D || format == K_FAX_G4 ||
         format == K_FAX_IBM_MMR;
}

// The last of several flags wins; without any the rows go bottom up, as raw data do
// that don't say top down.
int ViewPerspective(uint32_t flags) {
  int perspective = K_VIEW_BOTTOM_UP;
  for (int i = 0; i < 8; ++i) {
    if ((flags & kPerspectiveFlags[i]) != 0) perspective = i + 1;
  }
  return perspective;
}

int LoadFax(const unsigned char* data, size_t size, _LOADINFO& info, Bitmap& bitmap) {
  if (info.nBitsPerPixel != 1 || info.nDataOffset > size ||
      !IsSanePicture(info.nWidth, info.nHeight, 1)) {
    return K_ERROR_INVALID_FORMAT;
  }
  const int order = (info.uFlags & K_RAW_RGB_ORDER) != 0 ? K_ORDER_RGB : K_ORDER_BGR;
  int status = bitmap.Create(static_cast<int>(info.nWidth), static_cast<int>(info.nHeight), 1,
                             order, ViewPerspective(info.uFlags));
  if (status != K_SUCCESS) return status;
  bitmap.SetResolution(static_cast<int>(info.nXResolution), static_cast<int>(info.nYResolution));
  if ((info.uFlags & K_RAW_PALETTE) != 0) {
    status = bitmap.SetPalette(info.aPalette[0], 2);
    if (status != K_SUCCESS) return status;
  }
  bool damaged = false;
  status = DecodeFax(data + info.nDataOffset, size - static_cast<size_t>(info.nDataOffset), info, 0,
                     bitmap, &damaged);
  if (damaged) t_damage = K_ERROR_INVALID_FORMAT;
  return status;
}

int LoadDescribed(const unsigned char* data, size_t size, int bitsPerPixel, Bitmap& bitmap) {
  const InstalledCallback installed = t_installed;
  if (installed.callback == nullptr) return K_ERROR_INVALID_FORMAT;
  _LOADINFO info{};
  if (installed.callback(0, &info, installed.userData) != K_SUCCESS || !IsFaxFormat(info.nFormat)) {
    return K_ERROR_INVALID_FORMAT;
  }
  const int status = LoadFax(data, size, info, bitmap);
  if (status != K_SUCCESS || bitsPerPixel == 0 || bitsPerPixel == 1) return status;
  Bitmap converted;
  const Outcome outcome = ConvertBitmap(bitmap, bitsPerPixel, false, converted);
  bitmap = std::move(converted);
  return outcome.status;
}

int LoadJpeg(const unsigned char* data, size_t size, int bitsPerPixel, int colorOrder,
             Bitmap& bitmap) {
  const JpegDecoding decoding = DecodeJpeg(data, size, bitsPerPixel, colorOrder, bitmap);
  if (decoding.status == K_SUCCESS && decoding.damaged) t_damage = K_ERROR_INVALID_FORMAT;
  return decoding.status;
}

}  // namespace

int LoadMemory(unsigned char* pData, _BITMAPHANDLE* pBitmap, uint32_t uStructSize,
               int nBitsPerPixel, int nColorOrder, uint64_t nSize, void*,
               _IMAGEFILEINFO* pFileInfo) {
  t_damage = K_SUCCESS;
  if (pBitmap == nullptr || uStructSize != sizeof(_BITMAPHANDLE)) return K_ERROR_INVALID_FORMAT;
  *pBitmap = {};
  if (pData == nullptr) return K_ERROR_INVALID_FORMAT;
  constexpr uint32_t kJpegFormat = 10;
  const bool saidToBeJpeg = pFileInfo != nullptr &&
                            (pFileInfo->uFlags & K_FILEINFO_FORMAT_KNOWN) != 0 &&
                            pFileInfo->nFormat == kJpegFormat;
  Bitmap bitmap;
  const int status = saidToBeJpeg || IsJpeg(pData, nSize)
                         ? LoadJpeg(pData, nSize, nBitsPerPixel, nColorOrder, bitmap)
                         : LoadDescribed(pData, nSize, nBitsPerPixel, bitmap);
  if (status == K_SUCCESS) *pBitmap = bitmap.Release();
  return status;
}

K_LoadInfoCallback SetLoadInfoCallback(K_LoadInfoCallback pfnCallback, void* pUserData) {
  InstalledCallback next{pfnCallback, pUserData};
  if (pUserData == nullptr && pfnCallback == t_displaced.callback) {
    next.userData = t_displaced.userData;
  }
  t_displaced = t_installed;
  t_installed = next;
  return t_displaced.callback;
}

int LastMemoryLoadDamage() { return t_damage; }

}  // namespace kz
