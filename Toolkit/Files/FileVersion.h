// Which file, and which version of it, somebody has seen.
#pragma once

#include <sys/stat.h>

namespace kz {

inline bool IsSameTime(const struct timespec& a, const struct timespec& b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

// Whether both are the same file, whatever its name.
inline bool IsSameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// Whether the file's bytes are the same in both.
inline bool HasSameContent(const struct stat& a, const struct stat& b) {
  return IsSameFile(a, b) && a.st_size == b.st_size && IsSameTime(a.st_mtim, b.st_mtim);
}

// Whether nothing of the file has changed, be it its rights or its names.
inline bool IsSameVersion(const struct stat& a, const struct stat& b) {
  return HasSameContent(a, b) && IsSameTime(a.st_ctim, b.st_ctim);
}

}  // namespace kz
