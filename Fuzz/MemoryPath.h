// A file in memory that has a name, for what opens files by itself.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

class MemoryPath {
 public:
  MemoryPath(const uint8_t* data, size_t size)
      : m_descriptor(memfd_create("fuzzed", MFD_CLOEXEC)),
        m_path("/proc/self/fd/" + std::to_string(m_descriptor)) {
    m_complete = write(m_descriptor, data, size) == static_cast<ssize_t>(size);
  }
  ~MemoryPath() { close(m_descriptor); }
  MemoryPath(const MemoryPath&) = delete;
  MemoryPath& operator=(const MemoryPath&) = delete;

  int Descriptor() const { return m_descriptor; }
  const std::string& Path() const { return m_path; }
  bool Complete() const { return m_complete; }

 private:
  int m_descriptor;
  std::string m_path;
  bool m_complete;
};
