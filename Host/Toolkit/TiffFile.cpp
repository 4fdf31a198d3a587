#include "Host/Toolkit/TiffFile.h"

#include <unistd.h>

#include <cstdio>

#include "Host/Toolkit/Bitmap.h"

namespace kz {

TiffFile::TiffFile(int descriptor, const char* mode) {
  TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
  if (options != nullptr) {
    TIFFOpenOptionsSetMaxSingleMemAlloc(options, static_cast<tmsize_t>(kMaxPictureBytes));
    TIFFOpenOptionsSetErrorHandlerExtR(options, TakeError, this);
    TIFFOpenOptionsSetWarningHandlerExtR(
        options, [](TIFF*, void*, const char*, const char*, va_list) { return 1; }, nullptr);
    m_tiff = TIFFFdOpenExt(descriptor, "picture", mode, options);
    TIFFOpenOptionsFree(options);
  }
  if (m_tiff == nullptr) ::close(descriptor);
}

TiffFile::~TiffFile() {
  if (m_tiff != nullptr) TIFFClose(m_tiff);
}

Outcome TiffFile::Complaint(int status) const { return Failure(status, m_message); }

int TiffFile::TakeError(TIFF*, void* self, const char*, const char* format, va_list values) {
  auto& file = *static_cast<TiffFile*>(self);
  if (!file.Complained()) std::vsnprintf(file.m_message, sizeof(file.m_message), format, values);
  return 1;
}

}  // namespace kz
