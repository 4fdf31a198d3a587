// Shows the filter a file from some place on, as if it began there.
#pragma once

#include "Host/Kernel/Kernel.h"

namespace kz {

// For its lifetime, files that the calling thread opens through the kernel begin
// `base` bytes behind their real beginning. Shifts don't nest.
class FileShift {
 public:
  explicit FileShift(int base);
  ~FileShift();
  FileShift(const FileShift&) = delete;
  FileShift& operator=(const FileShift&) = delete;

  // The base in force; 0 when there is none.
  static int Base();

 private:
  K_OpenRoutine m_open;
  K_SeekRoutine m_seek;
};

}  // namespace kz
