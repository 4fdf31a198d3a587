#include "Host/Toolkit/TiffFile.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string_view>

#include "Host/Toolkit/Bitmap.h"

namespace kz {

TiffFile::TiffFile(int descriptor, const char* mode) {
  Forget();
  TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
  if (options != nullptr) {
    TIFFOpenOptionsSetMaxSingleMemAlloc(options, static_cast<tmsize_t>(kMaxPictureBytes));
    TIFFOpenOptionsSetErrorHandlerExtR(options, TakeError, this);
    TIFFOpenOptionsSetWarningHandlerExtR(options, TakeWarning, this);
    m_tiff = TIFFFdOpenExt(descriptor, "picture", mode, options);
    TIFFOpenOptionsFree(options);
  }
  if (m_tiff == nullptr) ::close(descriptor);
}

TiffFile::~TiffFile() {
  if (m_tiff != nullptr) TIFFClose(m_tiff);
}

Outcome TiffFile::Complaint(int status) const {
  return m_errorNumber != 0 ? SystemFailure(status, m_errorNumber) : Failure(status, m_message);
}

void TiffFile::Forget() {
  m_message[0] = '\0';
  m_errorNumber = 0;
  errno = 0;
}

int TiffFile::TakeError(TIFF*, void* self, const char*, const char* format, va_list values) {
  auto& file = *static_cast<TiffFile*>(self);
  if (!file.Complained()) {
    file.m_errorNumber = errno;
    (void)std::vsnprintf(file.m_message, sizeof(file.m_message), format, values);
  }
  return 1;
}

int TiffFile::TakeWarning(TIFF* tiff, void* self, const char* module, const char* format,
                          va_list values) {
  // A value behind the file's end is only warned about, and a page without its
  // colours or its resolution comes of it.
  if (std::string_view(format).starts_with("IO error")) {
    TakeError(tiff, self, module, format, values);
  }
  return 1;
}

}  // namespace kz
