#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <new>

#include "Host/Kernel/FileBuffer.h"
#include "Host/Kernel/Kernel.h"
#include "Host/Kernel/KernelTesting.h"

struct tagHANDLE {
  explicit tagHANDLE(int descriptor) : file(descriptor) {}
  FileBuffer file;
};

namespace {

std::atomic<size_t> g_openFiles{0};

int PlatformOpenFlags(int flags) {
  int result = (flags & K_OPEN_UPDATE) != 0 ? O_RDWR : O_RDONLY;
  if ((flags & K_OPEN_CREATE) != 0) result |= O_CREAT;
  if ((flags & K_OPEN_TRUNCATE) != 0) result |= O_TRUNC;
  return result | O_CLOEXEC;
}

tagHANDLE* KernelOpen(const char* name, int flags, int, void*) {
  if (name == nullptr) {
    errno = EINVAL;
    return K_InvalidHandle();
  }
  int descriptor;
  do {
    descriptor = ::open(name, PlatformOpenFlags(flags), 0666);
  } while (descriptor < 0 && errno == EINTR);
  if (descriptor < 0) return K_InvalidHandle();
  // A directory opens for reading, and only its first read would say what it is.
  struct stat status;
  if (::fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode)) {
    ::close(descriptor);
    errno = EISDIR;
    return K_InvalidHandle();
  }
  tagHANDLE* handle = nullptr;
  try {
    handle = new tagHANDLE(descriptor);
  } catch (const std::bad_alloc&) {
    ::close(descriptor);
    errno = ENOMEM;
    return K_InvalidHandle();
  }
  ++g_openFiles;
  return handle;
}

int KernelRead(tagHANDLE* handle, unsigned char* buffer, unsigned int count, void*) {
  return handle->file.Read(buffer, count);
}

int KernelWrite(tagHANDLE* handle, unsigned char* buffer, unsigned int count, void*) {
  return handle->file.Write(buffer, count);
}

int KernelSeek(tagHANDLE* handle, int offset, int origin, void*) {
  return handle->file.Seek(offset, origin);
}

int KernelClose(tagHANDLE* handle, void*) {
  const bool stored = handle->file.Close();
  delete handle;
  --g_openFiles;
  return stored ? K_SUCCESS : K_ERROR_WRITE;
}

template <typename Routine>
struct Direction {
  Routine routine;
  void* userData = nullptr;

  void Exchange(Routine* slot, void* data) {
    if (slot != nullptr) {
      const Routine former = routine;
      if (*slot != nullptr) routine = *slot;
      *slot = former;
    }
    if (data != nullptr) userData = data;
  }
  void Report(void** slot) const {
    if (slot != nullptr) *slot = userData;
  }
};

struct Routines {
  Direction<K_OpenRoutine> open{KernelOpen};
  Direction<K_ReadRoutine> read{KernelRead};
  Direction<K_WriteRoutine> write{KernelWrite};
  Direction<K_SeekRoutine> seek{KernelSeek};
  Direction<K_CloseRoutine> close{KernelClose};
};

thread_local Routines t_routines;

}  // namespace

tagHANDLE* K_RedirectedOpen(const char* pszName, int nFlags, int nMode) {
  const auto& open = t_routines.open;
  return open.routine(pszName, nFlags, nMode, open.userData);
}

int K_RedirectedRead(tagHANDLE* hFile, void* pBuffer, unsigned int nCount) {
  const auto& read = t_routines.read;
  return read.routine(hFile, static_cast<unsigned char*>(pBuffer), nCount, read.userData);
}

int K_RedirectedWrite(tagHANDLE* hFile, const void* pBuffer, unsigned int nCount) {
  const auto& write = t_routines.write;
  auto* bytes = static_cast<unsigned char*>(const_cast<void*>(pBuffer));
  return write.routine(hFile, bytes, nCount, write.userData);
}

int K_RedirectedSeek(tagHANDLE* hFile, int nOffset, int nOrigin) {
  const auto& seek = t_routines.seek;
  return seek.routine(hFile, nOffset, nOrigin, seek.userData);
}

int K_RedirectedClose(tagHANDLE* hFile) {
  const auto& close = t_routines.close;
  return close.routine(hFile, close.userData);
}

void K_FilterIO(K_OpenRoutine* pfnOpen, K_ReadRoutine* pfnRead, K_WriteRoutine* pfnWrite,
                K_SeekRoutine* pfnSeek, K_CloseRoutine* pfnClose, void* pOpenUserData,
                void* pReadUserData, void* pWriteUserData, void* pSeekUserData,
                void* pCloseUserData) {
  Routines& routines = t_routines;
  routines.open.Exchange(pfnOpen, pOpenUserData);
  routines.read.Exchange(pfnRead, pReadUserData);
  routines.write.Exchange(pfnWrite, pWriteUserData);
  routines.seek.Exchange(pfnSeek, pSeekUserData);
  routines.close.Exchange(pfnClose, pCloseUserData);
}

void K_GetFilterIOData(void** ppOpen, void** ppRead, void** ppWrite, void** ppSeek,
                       void** ppClose) {
  const Routines& routines = t_routines;
  routines.open.Report(ppOpen);
  routines.read.Report(ppRead);
  routines.write.Report(ppWrite);
  routines.seek.Report(ppSeek);
  routines.close.Report(ppClose);
}

size_t K_OpenFiles() { return g_openFiles; }
