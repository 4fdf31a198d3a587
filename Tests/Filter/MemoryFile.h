// Files in memory behind the redirected routines, with every handle accounted for
// and each operation able to fail.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "API/Filters/Ica/Common/Thread.h"
#include "Tests/Kernel/TemporaryFolder.h"

// Serves the calling thread's redirected files while it lives.
class MemoryFiles {
 public:
  enum Operation { kOpen, kRead, kSeek, kOperations };

  MemoryFiles() { Exchange(); }
  ~MemoryFiles() {
    Exchange();
    EXPECT_TRUE(m_open.empty()) << "a file was left open";
  }
  MemoryFiles(const MemoryFiles&) = delete;
  MemoryFiles& operator=(const MemoryFiles&) = delete;

  Bytes& operator[](const std::string& name) { return m_files[name]; }
  // Makes the nth operation of a kind from now fail, counted from 1; 0: none.
  void Fail(Operation operation, int nth) { m_untilFailure[operation] = nth; }
  size_t OpenCount() const { return m_open.size(); }
  // Read calls so far, and the bytes that they moved.
  int Reads() const { return m_reads; }
  // Whether the routine and the user data of reading are the ones installed here.
  bool ReadInForce() {
    K_ReadRoutine read = nullptr;
    void* data = nullptr;
    K_FilterIO(nullptr, &read, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
               nullptr);
    K_GetFilterIOData(nullptr, &data, nullptr, nullptr, nullptr);
    return read == Read && data == this;
  }

 private:
  struct Handle {
    const Bytes* bytes;
    int position;
  };

  void Exchange() {
    K_FilterIO(&m_openRoutine, &m_readRoutine, nullptr, &m_seekRoutine, &m_closeRoutine, this, this,
               nullptr, this, this);
  }
  bool Fails(Operation operation) {
    return m_untilFailure[operation] > 0 && --m_untilFailure[operation] == 0;
  }
  static MemoryFiles& Self(void* data) { return *static_cast<MemoryFiles*>(data); }
  Handle& Find(tagHANDLE* handle) {
    auto* key = reinterpret_cast<Handle*>(handle);
    EXPECT_TRUE(m_open.contains(key)) << "not an open file";
    return *key;
  }

  static tagHANDLE* Open(const char* name, int flags, int, void* data) {
    MemoryFiles& self = Self(data);
    const auto file = self.m_files.find(name);
    EXPECT_EQ(flags, K_OPEN_READ);
    if (self.Fails(kOpen) || file == self.m_files.end()) return K_InvalidHandle();
    auto* handle = new Handle{&file->second, 0};
    self.m_open.insert(handle);
    return reinterpret_cast<tagHANDLE*>(handle);
  }
  static int Read(tagHANDLE* handle, unsigned char* buffer, unsigned count, void* data) {
    Handle& file = Self(data).Find(handle);
    ++Self(data).m_reads;
    if (Self(data).Fails(kRead)) return -1;
    const size_t from = std::min(static_cast<size_t>(file.position), file.bytes->size());
    const size_t n = std::min<size_t>(count, file.bytes->size() - from);
    std::copy_n(file.bytes->begin() + static_cast<ptrdiff_t>(from), n, buffer);
    file.position += static_cast<int>(n);
    return static_cast<int>(n);
  }
  static int Seek(tagHANDLE* handle, int offset, int origin, void* data) {
    Handle& file = Self(data).Find(handle);
    if (Self(data).Fails(kSeek)) return -1;
    const auto size = static_cast<int64_t>(file.bytes->size());
    const int64_t base = origin == K_SEEK_START ? 0 : origin == K_SEEK_END ? size : file.position;
    if (base + offset < 0 || base + offset > INT32_MAX) return -1;
    return file.position = static_cast<int>(base + offset);
  }
  static int Close(tagHANDLE* handle, void* data) {
    delete &Self(data).Find(handle);
    Self(data).m_open.erase(reinterpret_cast<Handle*>(handle));
    return K_SUCCESS;
  }

  std::map<std::string, Bytes> m_files;
  std::set<Handle*> m_open;
  int m_untilFailure[kOperations] = {};
  int m_reads = 0;
  K_OpenRoutine m_openRoutine = Open;
  K_ReadRoutine m_readRoutine = Read;
  K_SeekRoutine m_seekRoutine = Seek;
  K_CloseRoutine m_closeRoutine = Close;
};

// One file, open from its start, with the filter's reads bound to it.
class OpenMemoryFile {
 public:
  explicit OpenMemoryFile(const Bytes& bytes) {
    m_files["file"] = bytes;
    m_handle = K_RedirectedOpen("file", K_OPEN_READ, 0);
    *State() = {};
    K_FilterIO(nullptr, &State()->pfnRead, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
               nullptr, nullptr);
    State()->pReadUserData = &m_files;
  }
  ~OpenMemoryFile() { K_RedirectedClose(m_handle); }
  // The calling thread's record.
  static FilterThreadState* State() {
    return static_cast<FilterThreadState*>(
        K_MyGetThreadData(&g_kzicaTls, kzicaAllocateThreadData, kzicaFreeThreadData, g_kzicaMutex));
  }
  operator tagHANDLE*() const { return m_handle; }
  MemoryFiles& Files() { return m_files; }
  int Position() const { return K_RedirectedSeek(m_handle, 0, K_SEEK_CURRENT); }

 private:
  MemoryFiles m_files;
  tagHANDLE* m_handle;
};
