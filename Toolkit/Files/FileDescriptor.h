// An owned file descriptor.
#pragma once

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "Host/Kernel/Export.h"

namespace kz {

class OwnedDescriptor {
 public:
  OwnedDescriptor() = default;
  explicit OwnedDescriptor(int descriptor) : m_descriptor(descriptor) {}
  ~OwnedDescriptor() { Reset(-1); }
  OwnedDescriptor(const OwnedDescriptor&) = delete;
  OwnedDescriptor& operator=(const OwnedDescriptor&) = delete;

  // The descriptor, negative when there is none.
  int Get() const { return m_descriptor; }
  // Takes another one in its place.
  void Reset(int descriptor) {
    if (m_descriptor >= 0) ::close(m_descriptor);
    m_descriptor = descriptor;
  }
  // Hands the descriptor over.
  int Release() { return std::exchange(m_descriptor, -1); }

 private:
  int m_descriptor = -1;
};

// Opens a file by its name in an opened folder, not to be inherited; a negative value,
// with errno set, when that fails.
inline int OpenDescriptorAt(int folder, const char* name, int flags, mode_t mode = 0) {
  int descriptor;
  do {
    descriptor = ::openat(folder, name, flags | O_CLOEXEC, mode);
  } while (descriptor < 0 && errno == EINTR);
  return descriptor;
}

// The same by its path.
inline int OpenDescriptor(const char* path, int flags, mode_t mode = 0) {
  return OpenDescriptorAt(AT_FDCWD, path, flags, mode);
}

// Reads at an offset until `count` bytes are there or the file ends. Returns the bytes
// read, or -1.
K_EXPORT int64_t ReadFully(int descriptor, int64_t offset, unsigned char* to, size_t count);
// Writes all of the bytes at the descriptor's position. False, with errno, when that
// fails.
K_EXPORT bool WriteFully(int descriptor, const unsigned char* from, size_t count);

}  // namespace kz
