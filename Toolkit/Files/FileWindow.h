// A file of any size, seen through one window of it.
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "Format/BigEndian.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Base/Tested.h"
#include "Toolkit/Files/FileDescriptor.h"

namespace kz {

class KZ_TESTED FileWindow {
 public:
  // The most bytes that At gives: more than any structured field has.
  static constexpr size_t kMaxBytes = 65536;

  // Opens a regular file for reading. -10 when that fails.
  KZ_TESTED Outcome Open(const std::string& path);
  // Sees the file that another window has opened, and that must stay longer, without
  // opening it again. Windows of one file may be used by a thread each.
  void See(const FileWindow& other);
  int64_t Size() const { return m_size; }
  int Descriptor() const { return m_descriptor; }
  // What was opened.
  const struct stat& Found() const { return m_found; }
  // Whether nothing was written to the file since it was opened, whatever its name
  // leads to now.
  bool IsAsFound() const;
  // `count` bytes at the offset, which stay until the next call; null when the file
  // doesn't hold them all or they can't be read.
  const unsigned char* At(int64_t offset, size_t count) {
    const auto at = static_cast<uint64_t>(offset - m_start);
    if (count > m_length || at > m_length - count) return ReadAt(offset, count);
    m_lastUse = offset + static_cast<int64_t>(count);
    return m_bytes.get() + at;
  }
  // The bytes from the offset on that it holds already, maybe none; they stay until the
  // next call of At. Who makes use of them notes up to where.
  ByteSpan Held(int64_t offset) const {
    const auto at = static_cast<uint64_t>(offset - m_start);
    return at < m_length ? ByteSpan(m_bytes.get() + at, m_length - at) : ByteSpan();
  }
  void NoteUse(int64_t end) { m_lastUse = end; }
  // Whether reading has failed other than by the end of the file.
  bool Failed() const { return m_failed; }

 private:
  const unsigned char* ReadAt(int64_t offset, size_t count);
  bool Fill(int64_t offset, size_t count);

  void Start();

  std::optional<OwnedDescriptor> m_file;  // none when it is another window's
  int m_descriptor = -1;
  struct stat m_found = {};
  int64_t m_size = 0;
  std::unique_ptr<unsigned char[]> m_bytes;  // null until something is read
  size_t m_capacity = 0;
  int64_t m_start = 0;
  size_t m_length = 0;
  int64_t m_lastUse = 0;  // after the last bytes that were given
  size_t m_fill = 0;      // bytes that the last fill asked for
  bool m_failed = false;
};

}  // namespace kz
