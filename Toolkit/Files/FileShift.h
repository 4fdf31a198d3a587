// Shows the filter a file from some place on, as if it began there.
#pragma once

#include <cstdint>
#include <string>

#include "Host/Kernel/Kernel.h"

namespace kz {

// For its lifetime, files that the calling thread opens through the kernel begin
// `base` bytes after their real beginning. Shifts don't nest.
//
// Positions are 32-bit numbers there. The files of a far shift may be of any size: it
// reads them itself, for as far from the base as positions reach, and writes none.
class FileShift {
 public:
  FileShift(int64_t base, bool far);
  ~FileShift();
  FileShift(const FileShift&) = delete;
  FileShift& operator=(const FileShift&) = delete;

  // The base in force; 0 when there is none.
  static int64_t Base();
  // Whether a far shift is in force.
  static bool Far();
  // Whether the file is one that positions don't reach the end of, so that it can be
  // read through far shifts only.
  static bool IsNeeded(const std::string& file);
  // The same for a file of so many bytes.
  static bool IsNeeded(int64_t size);

 private:
  void Exchange();

  K_OpenRoutine m_open;
  K_ReadRoutine m_read = nullptr;
  K_WriteRoutine m_write = nullptr;
  K_SeekRoutine m_seek;
  K_CloseRoutine m_close = nullptr;
};

}  // namespace kz
