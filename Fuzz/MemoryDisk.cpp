#include "Fuzz/MemoryDisk.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "Host/Kernel/KernelTesting.h"

// Inputs are small and calls short: freed blocks need no 256 MiB of quarantine, and
// a few frames tell where a block came from. Both are most of a call's cost else.
extern "C" const char* __asan_default_options() {
  return "quarantine_size_mb=16:malloc_context_size=6";
}

void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "violated: %s\n", what);
  std::abort();
}

MemoryDisk::MemoryDisk(const uint8_t* data, size_t size, size_t maxBytes)
    : m_content(data, data + size), m_maxBytes(std::max(maxBytes, size)) {
  // The first call on a thread makes its record, which stays: it is no leak.
  static bool first = true;
  m_liveBlocks = first ? SIZE_MAX : K_LiveBlocks();
  first = false;
  Exchange();
}

MemoryDisk::~MemoryDisk() {
  Exchange();
  Require(m_readRoutine == Read, "the read routine is the host's again");
  Require(m_writeRoutine == Write, "the write routine is the host's again");
  Require(m_open == 0, "every file is closed");
  Require(m_liveBlocks == SIZE_MAX || m_liveBlocks == K_LiveBlocks(), "every block is freed");
}

void MemoryDisk::Exchange() {
  K_FilterIO(&m_openRoutine, &m_readRoutine, &m_writeRoutine, &m_seekRoutine, &m_closeRoutine, this,
             this, this, this, this);
}

tagHANDLE* MemoryDisk::Open(const char*, int flags, int, void* userData) {
  MemoryDisk& self = Self(userData);
  if ((flags & K_OPEN_TRUNCATE) != 0) self.m_content.clear();
  ++self.m_open;
  return reinterpret_cast<tagHANDLE*>(new Handle{0});
}

int MemoryDisk::Read(tagHANDLE* handle, unsigned char* buffer, unsigned int count, void* userData) {
  auto* file = reinterpret_cast<Handle*>(handle);
  const auto& content = Self(userData).m_content;
  const size_t start = std::min(static_cast<size_t>(file->position), content.size());
  const size_t n = std::min(static_cast<size_t>(count), content.size() - start);
  std::copy_n(content.data() + start, n, buffer);
  file->position += static_cast<int>(n);
  return static_cast<int>(n);
}

int MemoryDisk::Write(tagHANDLE* handle, unsigned char* buffer, unsigned int count,
                      void* userData) {
  auto* file = reinterpret_cast<Handle*>(handle);
  MemoryDisk& self = Self(userData);
  const size_t start = static_cast<size_t>(file->position);
  if (start + count > self.m_maxBytes) return -1;
  if (start + count > self.m_content.size()) self.m_content.resize(start + count);
  std::copy_n(buffer, count, self.m_content.data() + start);
  file->position += static_cast<int>(count);
  return static_cast<int>(count);
}

int MemoryDisk::Seek(tagHANDLE* handle, int offset, int origin, void* userData) {
  auto* file = reinterpret_cast<Handle*>(handle);
  int64_t base = 0;
  if (origin == K_SEEK_CURRENT) base = file->position;
  if (origin == K_SEEK_END) base = static_cast<int64_t>(Self(userData).m_content.size());
  const int64_t target = base + offset;
  if (target < 0 || target > INT32_MAX) return -1;
  return file->position = static_cast<int>(target);
}

int MemoryDisk::Close(tagHANDLE* handle, void* userData) {
  delete reinterpret_cast<Handle*>(handle);
  --Self(userData).m_open;
  return K_SUCCESS;
}
