// The kernel's files behind routines that count every operation, can make the nth
// of a kind fail, and know each handle that is open.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "Host/Kernel/Kernel.h"
#include "Tests/Support/TemporaryFolder.h"

// In force for the calling thread while it lives; one at a time.
class FailingFiles {
 public:
  enum Operation { kOpen, kRead, kWrite, kSeek, kClose, kOperations };

  FailingFiles() { Exchange(); }
  ~FailingFiles() {
    EXPECT_TRUE(InForce());
    Exchange();
    EXPECT_TRUE(m_handles.empty()) << "a file was left open";
  }
  FailingFiles(const FailingFiles&) = delete;
  FailingFiles& operator=(const FailingFiles&) = delete;

  // Makes the nth operation of a kind from now fail, counted from 1; 0: none.
  void Fail(Operation operation, int nth) { m_untilFailure[operation] = nth; }
  int Count(Operation operation) const { return m_counts[operation]; }
  // The writes so far, each as it came.
  const std::vector<Bytes>& Written() const { return m_written; }
  // Whether all routines and their user data are the ones installed here.
  bool InForce() {
    K_OpenRoutine open = nullptr;
    K_ReadRoutine read = nullptr;
    K_WriteRoutine write = nullptr;
    K_SeekRoutine seek = nullptr;
    K_CloseRoutine close = nullptr;
    K_FilterIO(&open, &read, &write, &seek, &close, nullptr, nullptr, nullptr, nullptr, nullptr);
    void* data[5] = {};
    K_GetFilterIOData(&data[0], &data[1], &data[2], &data[3], &data[4]);
    return open == Open && read == Read && write == Write && seek == Seek && close == Close &&
           std::count(data, data + 5, this) == 5;
  }

 private:
  void Exchange() {
    K_FilterIO(&m_open, &m_read, &m_write, &m_seek, &m_close, this, this, this, this, this);
  }
  bool Fails(Operation operation) {
    ++m_counts[operation];
    return m_untilFailure[operation] > 0 && --m_untilFailure[operation] == 0;
  }
  static FailingFiles& Self(void* data) { return *static_cast<FailingFiles*>(data); }
  void Check(tagHANDLE* handle) const {
    EXPECT_TRUE(m_handles.contains(handle)) << "not an open file";
  }

  static tagHANDLE* Open(const char* name, int flags, int mode, void* data) {
    FailingFiles& self = Self(data);
    if (self.Fails(kOpen)) return K_InvalidHandle();
    tagHANDLE* handle = self.m_open(name, flags, mode, nullptr);
    if (handle != K_InvalidHandle()) self.m_handles.insert(handle);
    return handle;
  }
  static int Read(tagHANDLE* handle, unsigned char* buffer, unsigned count, void* data) {
    Self(data).Check(handle);
    return Self(data).Fails(kRead) ? -1 : Self(data).m_read(handle, buffer, count, nullptr);
  }
  // A failing write stores the first half, as a full disk does.
  static int Write(tagHANDLE* handle, unsigned char* buffer, unsigned count, void* data) {
    FailingFiles& self = Self(data);
    self.Check(handle);
    self.m_written.emplace_back(buffer, buffer + count);
    return self.m_write(handle, buffer, self.Fails(kWrite) ? count / 2 : count, nullptr);
  }
  static int Seek(tagHANDLE* handle, int offset, int origin, void* data) {
    Self(data).Check(handle);
    return Self(data).Fails(kSeek) ? -1 : Self(data).m_seek(handle, offset, origin, nullptr);
  }
  static int Close(tagHANDLE* handle, void* data) {
    FailingFiles& self = Self(data);
    self.Check(handle);
    self.m_handles.erase(handle);
    const int status = self.m_close(handle, nullptr);
    return self.Fails(kClose) ? -5 : status;
  }

  std::set<tagHANDLE*> m_handles;
  std::vector<Bytes> m_written;
  int m_untilFailure[kOperations] = {};
  int m_counts[kOperations] = {};
  K_OpenRoutine m_open = Open;
  K_ReadRoutine m_read = Read;
  K_WriteRoutine m_write = Write;
  K_SeekRoutine m_seek = Seek;
  K_CloseRoutine m_close = Close;
};
