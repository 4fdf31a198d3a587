#include "Toolkit/Files/FileDescriptor.h"

#include <cerrno>

namespace kz {

int64_t ReadFully(int descriptor, int64_t offset, unsigned char* to, size_t count) {
  size_t done = 0;
  while (done < count) {
    const ssize_t n =
        ::pread(descriptor, to + done, count - done, offset + static_cast<int64_t>(done));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return -1;
    if (n == 0) break;
    done += static_cast<size_t>(n);
  }
  return static_cast<int64_t>(done);
}

bool WriteFully(int descriptor, const unsigned char* from, size_t count) {
  while (count > 0) {
    const ssize_t n = ::write(descriptor, from, count);
    if (n < 0 && errno == EINTR) continue;
    if (n == 0) errno = EIO;
    if (n <= 0) return false;
    from += n;
    count -= static_cast<size_t>(n);
  }
  return true;
}

}  // namespace kz
