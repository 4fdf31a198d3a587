// An open TIFF file that keeps its messages to itself.
#pragma once

#include <tiffio.h>

#include <cstdarg>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Toolkit/Base/Outcome.h"

namespace kz {

class TiffFile {
 public:
  // Takes the descriptor. `mode` is libtiff's: "r" or "w".
  TiffFile(int descriptor, const char* mode);
  // A file to be written into memory, which must live as long.
  explicit TiffFile(std::vector<unsigned char>& memory);
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
  // From now on, to the next call of Forget, libtiff's warnings are about the
  // picture's data: rows that it went on from as well as it could.
  void BeginData() { m_inData = true; }
  // Success, with a warning when there were any, or one about where the data lie.
  Outcome DataWarnings() const;

  // Allows so many bytes more to be read. A file may ask for the same bytes again and
  // again, so that its length and its tags don't tell what reading it costs.
  void Allow(uint64_t bytes) { m_allowance += bytes; }
  uint64_t BytesRead() const { return m_bytesRead; }

  // Room for a row, for whoever writes.
  std::vector<unsigned char>& Row() { return m_row; }

 private:
  static int TakeError(TIFF*, void* self, const char* module, const char* format, va_list values);
  static int TakeWarning(TIFF*, void* self, const char* module, const char* format, va_list values);
  static tmsize_t Read(thandle_t self, void* to, tmsize_t count);
  static tmsize_t WriteMemory(thandle_t self, void* from, tmsize_t count);
  static toff_t SeekMemory(thandle_t self, toff_t offset, int from);
  // Options that have messages come here; null without memory.
  TIFFOpenOptions* Options();

  int m_descriptor = -1;
  std::vector<unsigned char>* m_memory = nullptr;
  uint64_t m_position = 0;  // in memory
  TIFF* m_tiff = nullptr;
  uint64_t m_allowance = 0;
  uint64_t m_bytesRead = 0;
  bool m_inData = false;
  int m_warnings = 0;
  char m_message[200] = {};
  char m_warning[200] = {};
  int m_errorNumber = 0;
  std::vector<unsigned char> m_row;
};

}  // namespace kz
