#include "Toolkit/Files/FileWindow.h"

#include <algorithm>

#include "Toolkit/Files/FileVersion.h"

namespace kz {

namespace {
constexpr size_t kWindow = 4 * FileWindow::kMaxBytes;
// A reader that passes over long fields mostly goes on so: it gets this much at a time.
// To pass over few bytes costs more than to read them.
constexpr size_t kFillAfterJump = 512;
constexpr int64_t kShortJump = 12288;
}  // namespace

Outcome FileWindow::Open(const std::string& path) {
  const int descriptor = OpenDescriptor(path.c_str(), O_RDONLY | O_NONBLOCK);
  if (descriptor < 0) return SystemFailure(K_ERROR_OPEN_READ, errno);
  m_file.emplace(descriptor);
  m_descriptor = -1;
  if (::fstat(descriptor, &m_found) != 0) return SystemFailure(K_ERROR_OPEN_READ, errno);
  if (S_ISDIR(m_found.st_mode)) return SystemFailure(K_ERROR_OPEN_READ, EISDIR);
  if (!S_ISREG(m_found.st_mode)) {
    return Failure(K_ERROR_OPEN_READ, "only regular files can be read");
  }
  m_descriptor = descriptor;
  Start();
  return {};
}

void FileWindow::See(const FileWindow& other) {
  m_file.reset();
  m_descriptor = other.m_descriptor;
  m_found = other.m_found;
  Start();
}

void FileWindow::Start() {
  m_size = m_found.st_size;
  // A small file needs no more than itself.
  m_capacity = static_cast<size_t>(std::min(m_size, static_cast<int64_t>(kWindow)));
  m_bytes.reset();
  m_length = 0;
  m_lastUse = 0;
  m_fill = m_capacity;
  m_failed = false;
}

bool FileWindow::IsAsFound() const {
  struct stat now;
  return ::fstat(Descriptor(), &now) == 0 && HasSameContent(now, m_found);
}

bool FileWindow::Fill(int64_t offset, size_t count) {
  if (m_bytes == nullptr) m_bytes = std::make_unique_for_overwrite<unsigned char[]>(m_capacity);
  const int64_t jump = offset - m_lastUse;
  const bool reads = jump >= 0 && jump <= kShortJump;
  m_fill = std::min(m_capacity, std::max(count, reads ? 2 * m_fill : kFillAfterJump));
  const int64_t n = ReadFully(Descriptor(), offset, m_bytes.get(), m_fill);
  m_failed |= n < 0;
  m_start = offset;
  m_length = static_cast<size_t>(std::max<int64_t>(n, 0));
  return n >= 0;
}

const unsigned char* FileWindow::ReadAt(int64_t offset, size_t count) {
  if (offset < 0 || count > kMaxBytes || offset > m_size - static_cast<int64_t>(count)) {
    return nullptr;
  }
  const auto held = [&] {
    return offset >= m_start &&
           offset + static_cast<int64_t>(count) <= m_start + static_cast<int64_t>(m_length);
  };
  if (!held() && (!Fill(offset, count) || !held())) return nullptr;
  m_lastUse = offset + static_cast<int64_t>(count);
  return m_bytes.get() + (offset - m_start);
}

}  // namespace kz
