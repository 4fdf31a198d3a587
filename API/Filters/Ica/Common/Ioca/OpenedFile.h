// The guard of a file, so that every path closes it.
#pragma once

#include "API/Filters/Ica/Common/Ica.h"

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
