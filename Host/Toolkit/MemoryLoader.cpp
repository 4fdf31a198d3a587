#include "Host/Toolkit/MemoryLoader.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "Host/Fax/Fax.h"
#include "Host/Kernel/Kernel.h"
#include "Host/Toolkit/Bitmap.h"
#include "Host/Toolkit/JpegCodec.h"
#include "Host/Toolkit/RowConversion.h"

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

// Data in memory that the fax library reads like a file: its address is the file
// handle, so that the read routine needs no user data and leaves the host's alone.
struct MemoryFile {
  const unsigned char* data;
  size_t left;

  tagHANDLE* Handle() { return reinterpret_cast<tagHANDLE*>(this); }

  static int Read(tagHANDLE* handle, unsigned char* buffer, unsigned int count, void*) {
    auto* file = reinterpret_cast<MemoryFile*>(handle);
    const size_t n = std::min({file->left, size_t{count}, size_t{INT_MAX}});
    if (n > 0) std::memcpy(buffer, file->data, n);
    file->data += n;
    file->left -= n;
    return static_cast<int>(n);
  }
};

// Keeps the memory read routine in force for its lifetime.
class MemoryReading {
 public:
  MemoryReading() { Exchange(); }
  ~MemoryReading() { Exchange(); }
  MemoryReading(const MemoryReading&) = delete;
  MemoryReading& operator=(const MemoryReading&) = delete;

 private:
  void Exchange() {
    K_FilterIO(nullptr, &m_routine, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
               nullptr);
  }
  K_ReadRoutine m_routine = MemoryFile::Read;
};

int TakeRows(void*, _BITMAPHANDLE* bitmap, unsigned char* rows, uint32_t, int row, int count,
             void*) {
  const size_t bytes = static_cast<size_t>(bitmap->nBytesPerLine);
  for (int i = 0; i < count; ++i) {
    const int stored =
        K_PutBitmapRow(bitmap, rows + static_cast<size_t>(i) * bytes, row + i, bytes);
    if (stored < 0) return stored;
  }
  return K_SUCCESS;
}

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
  MemoryFile file{data + info.nDataOffset, size - static_cast<size_t>(info.nDataOffset)};
  _LOADDISPATCH dispatch{};
  dispatch.pBitmap = bitmap.Handle();
  dispatch.pfnCallback = TakeRows;
  {
    const MemoryReading reading;
    status = K_LoadRawFax(&dispatch, file.Handle(), &info, nullptr, bitmap.Handle(), TakeRows, 1,
                          nullptr);
  }
  if (status == K_SUCCESS && dispatch.nLoadError < 0) t_damage = K_ERROR_INVALID_FORMAT;
  // The caller takes 1 for success and negative values for failures, nothing else.
  return status == K_SUCCESS || status < 0 ? status : K_ERROR_INVALID_FORMAT;
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
