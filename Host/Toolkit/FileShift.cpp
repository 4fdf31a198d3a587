#include "Host/Toolkit/FileShift.h"

#include <cerrno>
#include <climits>

namespace kz {

namespace {

struct Shift {
  int base = 0;
  K_OpenRoutine open = nullptr;  // the host's own
  K_SeekRoutine seek = nullptr;
  void* seekUserData = nullptr;
};

thread_local Shift t_shift;

tagHANDLE* Open(const char* name, int flags, int mode, void* userData) {
  tagHANDLE* handle = t_shift.open(name, flags, mode, userData);
  if (handle == K_InvalidHandle()) return handle;
  if (t_shift.seek(handle, t_shift.base, K_SEEK_START, t_shift.seekUserData) >= 0) return handle;
  K_RedirectedClose(handle);
  errno = EOVERFLOW;
  return K_InvalidHandle();
}

int Seek(tagHANDLE* handle, int offset, int origin, void* userData) {
  if (origin == K_SEEK_START) {
    if (offset < 0 || offset > INT_MAX - t_shift.base) return -1;
    offset += t_shift.base;
  }
  const int before = t_shift.seek(handle, 0, K_SEEK_CURRENT, userData);
  const int position = t_shift.seek(handle, offset, origin, userData);
  if (position < 0) return -1;
  if (position >= t_shift.base) return position - t_shift.base;
  t_shift.seek(handle, before, K_SEEK_START, userData);
  return -1;
}

}  // namespace

FileShift::FileShift(int base) : m_open(Open), m_seek(Seek) {
  void* seekUserData = nullptr;
  K_GetFilterIOData(nullptr, nullptr, nullptr, &seekUserData, nullptr);
  K_FilterIO(&m_open, nullptr, nullptr, &m_seek, nullptr, nullptr, nullptr, nullptr, nullptr,
             nullptr);
  t_shift = {base, m_open, m_seek, seekUserData};
}

FileShift::~FileShift() {
  K_FilterIO(&m_open, nullptr, nullptr, &m_seek, nullptr, nullptr, nullptr, nullptr, nullptr,
             nullptr);
  t_shift = {};
}

int FileShift::Base() { return t_shift.base; }

}  // namespace kz
