#include "Host/Kernel/FileBuffer.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "Host/Kernel/Kernel.h"

namespace {

// A reader that jumps will mostly jump again: it gets this much at a time.
constexpr size_t kFillAfterJump = 512;
// To pass over so few bytes costs more than to read them: who walks over short
// fields gets as much at a time as who reads on.
constexpr int64_t kShortJump = 12288;

// Moves count bytes at a file position, whatever the kernel gives at once.
// Returns the bytes moved; -1 when a failure moved none.
template <typename Byte, typename Call>
int64_t MoveAll(Call call, int descriptor, Byte* bytes, size_t count, int64_t position) {
  size_t done = 0;
  while (done < count) {
    const ssize_t n = call(descriptor, bytes + done, count - done,
                           static_cast<off_t>(position + static_cast<int64_t>(done)));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0 && done == 0) return -1;
    if (n <= 0) break;
    done += static_cast<size_t>(n);
  }
  return static_cast<int64_t>(done);
}

}  // namespace

FileBuffer::FileBuffer(int descriptor)
    : m_descriptor(descriptor), m_window(new unsigned char[kCapacity]) {}

FileBuffer::~FileBuffer() {
  if (m_descriptor >= 0) ::close(m_descriptor);
}

bool FileBuffer::Close() {
  const bool stored = Flush();
  // Some file systems say only here that written bytes got lost.
  return ::close(std::exchange(m_descriptor, -1)) == 0 && stored;
}

bool FileBuffer::HoldsPosition() const { return m_position >= m_start && m_position < WindowEnd(); }

bool FileBuffer::Fill() {
  if (!Flush()) return false;
  const int64_t jump = m_position - m_lastUse;
  if (jump >= 0 && jump <= kShortJump) {
    m_fill = std::min(m_fill * 2, kCapacity);
  } else {
    m_fill = kFillAfterJump;
  }
  m_start = m_position;
  m_length = 0;
  const int64_t n = MoveAll(::pread, m_descriptor, m_window.get(), m_fill, m_position);
  if (n < 0) return false;
  m_length = static_cast<size_t>(n);
  return true;
}

int FileBuffer::Read(unsigned char* to, unsigned count) {
  // Bytes that no position can name are not there.
  count = static_cast<unsigned>(std::min<int64_t>(count, kMaxPosition - m_position));
  size_t done = 0;
  while (done < count) {
    const size_t wanted = count - done;
    if (HoldsPosition()) {
      const size_t offset = static_cast<size_t>(m_position - m_start);
      const size_t n = std::min(wanted, m_length - offset);
      std::memcpy(to + done, m_window.get() + offset, n);
      done += n;
      Advance(static_cast<int64_t>(n));
    } else if (wanted >= kCapacity) {
      if (!Flush()) return done == 0 ? -1 : static_cast<int>(done);
      const int64_t n = MoveAll(::pread, m_descriptor, to + done, wanted, m_position);
      if (n < 0 && done == 0) return -1;
      if (n > 0) {
        done += static_cast<size_t>(n);
        Advance(n);
        // What follows continues here. Who takes big pieces needs the window for
        // little more than the fields between them.
        m_start = m_position;
        m_length = 0;
        m_fill = kFillAfterJump;
      }
      break;
    } else {
      if (!Fill()) return done == 0 ? -1 : static_cast<int>(done);
      if (m_length == 0) break;
    }
  }
  return static_cast<int>(done);
}

int FileBuffer::Write(const unsigned char* from, unsigned count) {
  if (m_position + static_cast<int64_t>(count) > kMaxPosition) {
    errno = EFBIG;
    return -1;
  }
  size_t done = 0;
  while (done < count) {
    const size_t wanted = count - done;
    // Pieces that begin and end between the pages of the file's cache are stored in
    // two thirds of the time.
    constexpr auto block = static_cast<int64_t>(kCapacity);
    const int64_t end = m_start / block * block + block;
    const bool touches = m_position >= m_start && m_position <= WindowEnd() && m_position < end;
    const bool straight = wanted >= kCapacity && m_position % block == 0;
    if (touches && !(straight && m_length == 0)) {
      const size_t offset = static_cast<size_t>(m_position - m_start);
      const size_t n = std::min(wanted, static_cast<size_t>(end - m_position));
      std::memcpy(m_window.get() + offset, from + done, n);
      m_dirtyBegin = m_dirtyEnd == 0 ? offset : std::min(m_dirtyBegin, offset);
      m_dirtyEnd = std::max(m_dirtyEnd, offset + n);
      m_length = std::max(m_length, offset + n);
      done += n;
      Advance(static_cast<int64_t>(n));
      continue;
    }
    if (!Flush()) return done == 0 ? -1 : static_cast<int>(done);
    if (straight) {
      const size_t blocks = wanted / kCapacity * kCapacity;
      const int64_t n = MoveAll(::pwrite, m_descriptor, from + done, blocks, m_position);
      if (n < 0) return done == 0 ? -1 : static_cast<int>(done);
      done += static_cast<size_t>(n);
      Advance(n);
      m_start = m_position;
      m_length = 0;
      if (static_cast<size_t>(n) < blocks) break;
      continue;
    }
    m_start = m_position;
    m_length = 0;
  }
  return static_cast<int>(done);
}

int FileBuffer::Seek(int offset, int origin) {
  int64_t base = 0;
  if (origin == K_SEEK_CURRENT) {
    base = m_position;
  } else if (origin == K_SEEK_END) {
    struct stat status;
    if (::fstat(m_descriptor, &status) != 0) return -1;
    base = status.st_size;
    if (m_dirtyEnd > 0) base = std::max(base, m_start + static_cast<int64_t>(m_dirtyEnd));
  } else if (origin != K_SEEK_START) {
    return -1;
  }
  const int64_t target = base + offset;
  if (target < 0 || target > kMaxPosition) return -1;
  m_position = target;
  return static_cast<int>(target);
}

bool FileBuffer::Flush() {
  if (m_dirtyEnd == 0) return true;
  const size_t count = m_dirtyEnd - m_dirtyBegin;
  const int64_t n = MoveAll(::pwrite, m_descriptor, m_window.get() + m_dirtyBegin, count,
                            m_start + static_cast<int64_t>(m_dirtyBegin));
  if (n < static_cast<int64_t>(count)) return false;
  m_dirtyBegin = 0;
  m_dirtyEnd = 0;
  return true;
}
