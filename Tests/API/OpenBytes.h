// Bytes as an open file that stands at its start, the filter's reads bound to it.
#pragma once

#include "API/Filters/Ica/Common/Thread.h"
#include "Tests/API/FailingFiles.h"

class OpenBytes {
 public:
  explicit OpenBytes(const Bytes& bytes) {
    thread_local const TemporaryFolder folder;
    m_handle = K_RedirectedOpen(folder.File("file", bytes).c_str(), K_OPEN_READ, 0);
    *ThreadState() = {};
    BindRead(ThreadState());
  }
  ~OpenBytes() { K_RedirectedClose(m_handle); }
  OpenBytes(const OpenBytes&) = delete;
  OpenBytes& operator=(const OpenBytes&) = delete;

  operator tagHANDLE*() const { return m_handle; }
  int Position() const { return K_RedirectedSeek(m_handle, 0, K_SEEK_CURRENT); }

 private:
  FailingFiles m_files;
  tagHANDLE* m_handle;
};
