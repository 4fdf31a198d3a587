// Owners of what a call takes from the host, so that every path gives it back.
#pragma once

#include "API/Filters/Ica/Common/Ica.h"

// A block from the host's allocator.
class LocalBuffer {
 public:
  LocalBuffer() = default;
  // nSize bytes; null when out of memory.
  LocalBuffer(size_t nSize, int nLine) { Grow(nSize, nLine); }
  ~LocalBuffer() { Reset(); }
  LocalBuffer(const LocalBuffer&) = delete;
  LocalBuffer& operator=(const LocalBuffer&) = delete;

  explicit operator bool() const { return m_bytes != nullptr; }
  unsigned char* get() const { return m_bytes; }
  // Whether the block could begin with, or grow to, nSize bytes; if not it stays as
  // it was.
  bool Grow(size_t nSize, int nLine) {
    // Not every host has null for no block yet, or a block of no bytes.
    const size_t size = nSize != 0 ? nSize : 1;
    void* grown = m_bytes == nullptr ? K_LocalAlloc(size, 1, nLine, KZICA_SOURCE)
                                     : K_LocalRealloc(m_bytes, size, nLine, KZICA_SOURCE);
    if (grown != nullptr) m_bytes = static_cast<unsigned char*>(grown);
    return grown != nullptr;
  }
  void Reset() {
    if (m_bytes != nullptr) K_LocalFree(m_bytes, __LINE__, KZICA_SOURCE);
    m_bytes = nullptr;
  }

 private:
  unsigned char* m_bytes = nullptr;
};

// A global memory block that the codec library handed out by its pointer.
class GlobalOutput {
 public:
  GlobalOutput() = default;
  ~GlobalOutput() {
    if (m_bytes != nullptr) WinGlobalFree(WinGlobalHandle(m_bytes));
  }
  GlobalOutput(const GlobalOutput&) = delete;
  GlobalOutput& operator=(const GlobalOutput&) = delete;

  unsigned char* get() const { return m_bytes; }
  unsigned char** slot() { return &m_bytes; }

 private:
  unsigned char* m_bytes = nullptr;
};

// A file that the filter has opened.
class OpenedFile {
 public:
  OpenedFile(const char* pszName, int nFlags, int nMode)
      : m_handle(K_RedirectedOpen(pszName, nFlags, nMode)) {}
  ~OpenedFile() { Close(); }
  OpenedFile(const OpenedFile&) = delete;
  OpenedFile& operator=(const OpenedFile&) = delete;

  explicit operator bool() const { return m_handle != K_InvalidHandle(); }
  tagHANDLE* get() const { return m_handle; }

  // Closes the file and opens it anew. Whether it is open again.
  bool Reopen(const char* pszName, int nFlags, int nMode) {
    if (Close() != K_SUCCESS) return false;
    m_handle = K_RedirectedOpen(pszName, nFlags, nMode);
    return m_handle != K_InvalidHandle();
  }
  // Closes the file. The status of a write that only the close could report
  // takes the place of a success.
  int Close(int nStatus = K_SUCCESS) {
    if (m_handle == K_InvalidHandle()) return nStatus;
    const int closed = K_RedirectedClose(m_handle);
    m_handle = K_InvalidHandle();
    return nStatus == K_SUCCESS && closed < 0 ? K_ERROR_WRITE : nStatus;
  }

 private:
  tagHANDLE* m_handle;
};
