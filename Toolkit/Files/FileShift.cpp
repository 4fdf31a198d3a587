#include "Toolkit/Files/FileShift.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <new>

#include "Toolkit/Files/FileWindow.h"

namespace kz {

namespace {

struct Shift {
  int64_t base = 0;
  bool far = false;
  K_OpenRoutine open = nullptr;  // the host's own
  K_SeekRoutine seek = nullptr;
  void* seekUserData = nullptr;
};

thread_local Shift t_shift;

tagHANDLE* Open(const char* name, int flags, int mode, void* userData) {
  tagHANDLE* handle = t_shift.open(name, flags, mode, userData);
  if (handle == K_InvalidHandle()) return handle;
  const int base = static_cast<int>(t_shift.base);
  if (t_shift.seek(handle, base, K_SEEK_START, t_shift.seekUserData) >= 0) return handle;
  K_RedirectedClose(handle);
  errno = EOVERFLOW;
  return K_InvalidHandle();
}

int Seek(tagHANDLE* handle, int offset, int origin, void* userData) {
  const int base = static_cast<int>(t_shift.base);
  if (origin == K_SEEK_START) {
    if (offset < 0 || offset > INT_MAX - base) return -1;
    offset += base;
  }
  const int before = t_shift.seek(handle, 0, K_SEEK_CURRENT, userData);
  const int position = t_shift.seek(handle, offset, origin, userData);
  if (position < 0) return -1;
  if (position >= base) return position - base;
  t_shift.seek(handle, before, K_SEEK_START, userData);
  return -1;
}

// A file of a far shift.
struct FarFile {
  FileWindow window;
  int64_t base = 0;
  int64_t position = 0;  // from the base
};

FarFile& FarFileOf(tagHANDLE* handle) { return *reinterpret_cast<FarFile*>(handle); }

tagHANDLE* FarOpen(const char* name, int flags, int, void*) try {
  auto file = std::make_unique<FarFile>();
  file->base = t_shift.base;
  errno = 0;
  if ((flags & ~K_OPEN_READ) == 0 && file->window.Open(name).Ok()) {
    return reinterpret_cast<tagHANDLE*>(file.release());
  }
  if (errno == 0) errno = EOVERFLOW;
  return K_InvalidHandle();
} catch (const std::bad_alloc&) {
  errno = ENOMEM;
  return K_InvalidHandle();
}

int FarRead(tagHANDLE* handle, unsigned char* buffer, unsigned count, void*) {
  FarFile& file = FarFileOf(handle);
  const int64_t start = file.base + file.position;
  const int64_t there = std::min(file.window.Size() - start, INT_MAX - file.position);
  const auto wanted = std::min(std::max<int64_t>(there, 0), static_cast<int64_t>(count));
  int64_t done = 0;
  while (done < wanted) {
    const auto n =
        static_cast<size_t>(std::min(wanted - done, static_cast<int64_t>(FileWindow::kMaxBytes)));
    const unsigned char* bytes = file.window.At(start + done, n);
    if (bytes == nullptr) break;
    std::memcpy(buffer + done, bytes, n);
    done += static_cast<int64_t>(n);
  }
  file.position += done;
  return done == 0 && wanted > 0 ? -1 : static_cast<int>(done);
}

int FarWrite(tagHANDLE*, unsigned char*, unsigned, void*) { return -1; }

int FarSeek(tagHANDLE* handle, int offset, int origin, void*) {
  FarFile& file = FarFileOf(handle);
  const int64_t from = origin == K_SEEK_START     ? 0
                       : origin == K_SEEK_CURRENT ? file.position
                                                  : file.window.Size() - file.base;
  const int64_t target = from + offset;
  if (target < 0 || target > INT_MAX) return -1;
  file.position = target;
  return static_cast<int>(target);
}

int FarClose(tagHANDLE* handle, void*) {
  delete &FarFileOf(handle);
  return K_SUCCESS;
}

}  // namespace

FileShift::FileShift(int64_t base, bool far)
    : m_open(far ? FarOpen : Open), m_seek(far ? FarSeek : Seek) {
  void* seekUserData = nullptr;
  K_GetFilterIOData(nullptr, nullptr, nullptr, &seekUserData, nullptr);
  if (far) {
    m_read = FarRead;
    m_write = FarWrite;
    m_close = FarClose;
  }
  Exchange();
  t_shift = {base, far, m_open, m_seek, seekUserData};
}

FileShift::~FileShift() {
  Exchange();
  t_shift = {};
}

// Slots that hold null are only told what is in force, and given it back unchanged.
void FileShift::Exchange() {
  K_FilterIO(&m_open, &m_read, &m_write, &m_seek, &m_close, nullptr, nullptr, nullptr, nullptr,
             nullptr);
}

int64_t FileShift::Base() { return t_shift.base; }

bool FileShift::Far() { return t_shift.far; }

bool FileShift::IsNeeded(const std::string& file) {
  struct stat found;
  return ::stat(file.c_str(), &found) == 0 && S_ISREG(found.st_mode) && IsNeeded(found.st_size);
}

bool FileShift::IsNeeded(int64_t size) { return !t_shift.far && size > INT_MAX; }

}  // namespace kz
