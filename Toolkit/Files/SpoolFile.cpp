#include "Toolkit/Files/SpoolFile.h"

#include <sys/mman.h>

#include <cstdlib>

namespace kz {

Outcome SpoolFile::Open() {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody who makes files sets variables
  const char* folder = std::getenv("TMPDIR");
  if (folder == nullptr || *folder == '\0') folder = "/tmp";
  int descriptor = OpenDescriptor(folder, O_TMPFILE | O_RDWR, 0600);
  // Not every file system has files without a name.
  if (descriptor < 0) descriptor = memfd_create("spool", MFD_CLOEXEC);
  if (descriptor < 0) return SystemFailure(K_ERROR_OPEN_WRITE, errno);
  m_file.Reset(descriptor);
  m_path = "/proc/self/fd/" + std::to_string(descriptor);
  return {};
}

}  // namespace kz
