// A folder for the files of one test, removed with all that is in it.
#pragma once

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

using Bytes = std::vector<unsigned char>;

class TemporaryFolder {
 public:
  explicit TemporaryFolder(
      const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
    std::string path = (parent / "kz-test-XXXXXX").string();
    if (::mkdtemp(path.data()) == nullptr) throw std::runtime_error("no temporary folder");
    m_path = path;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  // Where tests of very many files need not wait for the disk. Programs may be refused there.
  static std::filesystem::path InMemory() {
    const std::filesystem::path memory = "/dev/shm";
    return ::access(memory.c_str(), W_OK) == 0 ? memory : std::filesystem::temp_directory_path();
  }

  // The path of a name in the folder.
  std::string operator/(const std::string& name) const { return (m_path / name).string(); }
  // What is in it, sorted.
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(m_path)) {
      names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  // Writes a new file, in the place of any old one, and returns its path.
  std::string File(const std::string& name, const Bytes& content) const {
    const std::string path = *this / name;
    std::filesystem::remove(path);  // cutting an old one makes some systems wait for the disk
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(content.data()),
               static_cast<std::streamsize>(content.size()));
    return path;
  }

 private:
  std::filesystem::path m_path;
};

// The bytes of a file; empty when there is none.
inline Bytes FileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), {});
}

// Bytes that differ from their neighbours, so that a shifted read shows.
inline Bytes Pattern(size_t size, unsigned seed = 1) {
  Bytes bytes(size);
  uint32_t state = seed;
  for (unsigned char& byte : bytes) {
    state = state * 1664525 + 1013904223;
    byte = static_cast<unsigned char>(state >> 24);
  }
  return bytes;
}
