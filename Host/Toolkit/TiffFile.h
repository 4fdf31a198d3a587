// An open TIFF file that keeps its messages to itself.
#pragma once

#include <tiffio.h>

#include <cstdarg>
#include <memory>

#include "Host/Toolkit/Outcome.h"

namespace kz {

class TiffFile {
 public:
  // Takes the descriptor. `mode` is libtiff's: "r" or "w".
  TiffFile(int descriptor, const char* mode);
  ~TiffFile();
  TiffFile(const TiffFile&) = delete;
  TiffFile& operator=(const TiffFile&) = delete;

  // Null when the file could not be opened.
  TIFF* Get() const { return m_tiff; }
  // Whether libtiff reported an error since the last call of Forget. It reports
  // damaged rows that way and goes on.
  bool Complained() const { return m_message[0] != '\0'; }
  void Forget();
  // A failure in the operating system's words when it was its error, else in
  // libtiff's first ones.
  Outcome Complaint(int status) const;

 private:
  static int TakeError(TIFF*, void* self, const char* module, const char* format, va_list values);
  static int TakeWarning(TIFF*, void* self, const char* module, const char* format, va_list values);

  TIFF* m_tiff = nullptr;
  char m_message[200] = {};
  int m_errorNumber = 0;
};

}  // namespace kz
