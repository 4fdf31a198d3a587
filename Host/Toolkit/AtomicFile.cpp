#include "Host/Toolkit/AtomicFile.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "Host/Toolkit/Descriptor.h"

namespace kz {

namespace {

constexpr int kMaxLinks = 40;
constexpr int kMaxTries = 100;
// A file name has at most 255 bytes: of a longer target name the temporary name
// holds the beginning and a hash.
constexpr size_t kMaxStem = 200;
constexpr std::string_view kMark = ".kz-";
constexpr std::string_view kEnding = ".tmp";
constexpr size_t kRandomDigits = 16;
constexpr mode_t kModeBits = 07777;
constexpr mode_t kNewFileMode = 0666;
constexpr mode_t kPrivateMode = 0600;

// Folder with a slash at its end (empty: the current one) and name.
std::pair<std::string, std::string> SplitPath(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return {{}, path};
  return {path.substr(0, slash + 1), path.substr(slash + 1)};
}

// Replaces symbolic links by what they lead to, also when that doesn't exist yet.
// Returns 0 or an errno value.
int FollowLinks(std::string& path) {
  for (int i = 0; i < kMaxLinks; ++i) {
    std::array<char, 4096> link;
    const ssize_t length = ::readlink(path.c_str(), link.data(), link.size());
    if (length < 0) return errno == EINVAL || errno == ENOENT ? 0 : errno;
    if (static_cast<size_t>(length) == link.size()) return ENAMETOOLONG;
    const std::string to(link.data(), static_cast<size_t>(length));
    if (to.starts_with('/')) path.clear();
    path = SplitPath(path).first.append(to);
  }
  return ELOOP;
}

std::string Hexadecimal(uint64_t value) {
  char digits[kRandomDigits + 1];
  (void)std::snprintf(digits, sizeof(digits), "%016llx", static_cast<unsigned long long>(value));
  return digits;
}

// What the temporary names of a target begin with.
std::string TemporaryPrefix(const std::string& name) {
  std::string stem = name;
  if (stem.size() > kMaxStem) {
    uint64_t hash = 0xCBF29CE484222325U;  // FNV-1a
    for (const char c : name) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
    stem = name.substr(0, kMaxStem) + "~" + Hexadecimal(hash);
  }
  return "." + stem + std::string(kMark);
}

bool IsTemporaryName(std::string_view name, std::string_view prefix) {
  return name.size() == prefix.size() + kRandomDigits + kEnding.size() &&
         name.starts_with(prefix) && name.ends_with(kEnding) &&
         name.substr(prefix.size(), kRandomDigits).find_first_not_of("0123456789abcdef") ==
             std::string_view::npos;
}

// Gives the new file the owner, group and mode of the old one. 0 or an errno value.
int KeepOwnership(int descriptor, const struct stat& old) {
  mode_t mode = old.st_mode & kModeBits;
  struct stat current;
  if (::fstat(descriptor, &current) != 0) return errno;
  if (current.st_uid != old.st_uid && ::fchown(descriptor, old.st_uid, old.st_gid) != 0) {
    return errno;
  }
  if (current.st_uid == old.st_uid && current.st_gid != old.st_gid &&
      ::fchown(descriptor, static_cast<uid_t>(-1), old.st_gid) != 0) {
    // Another group must not get what the old one had.
    mode &= ~static_cast<mode_t>(S_ISGID | S_IRWXG) | ((mode & S_IRWXO) << 3);
  }
  return ::fchmod(descriptor, mode) == 0 ? 0 : errno;
}

bool LockExclusively(int descriptor, int extra) {
  int result;
  do {
    result = ::flock(descriptor, LOCK_EX | extra);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

// Removes a temporary file that no process holds any more.
void RemoveIfAbandoned(const std::string& path) {
  const OwnedDescriptor file(OpenDescriptor(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK));
  struct stat opened, named;
  if (file.Get() < 0 || ::fstat(file.Get(), &opened) != 0 || !S_ISREG(opened.st_mode)) return;
  if (!LockExclusively(file.Get(), LOCK_NB)) return;
  // With the lock held the name can only lead elsewhere if its owner is done with it.
  if (::lstat(path.c_str(), &named) == 0 && named.st_ino == opened.st_ino &&
      named.st_dev == opened.st_dev) {
    ::unlink(path.c_str());
  }
}

}  // namespace

AtomicFile::~AtomicFile() { Discard(); }

Outcome AtomicFile::Open(const std::string& target) {
  Discard();
  m_target = target;
  const int error = FollowLinks(m_target);
  if (error != 0) return SystemFailure(K_ERROR_OPEN_WRITE, error);
  struct stat old;
  const bool exists = ::stat(m_target.c_str(), &old) == 0;
  if (!exists && errno != ENOENT) return SystemFailure(K_ERROR_OPEN_WRITE, errno);
  if (exists && S_ISDIR(old.st_mode)) return SystemFailure(K_ERROR_OPEN_WRITE, EISDIR);
  if (exists && !S_ISREG(old.st_mode)) return Failure(K_ERROR_OPEN_WRITE, "not a regular file");
  // A rename asks the folder only; a file that may not be written stays.
  if (exists && ::faccessat(AT_FDCWD, m_target.c_str(), W_OK, AT_EACCESS) != 0) {
    return SystemFailure(K_ERROR_OPEN_WRITE, errno);
  }
  Outcome outcome = CreateTemporary(static_cast<int>(exists ? kPrivateMode : kNewFileMode));
  if (!outcome.Ok() || !exists) return outcome;
  const int kept = KeepOwnership(m_descriptor, old);
  if (kept == 0) return outcome;
  Discard();
  return Failure(K_ERROR_OPEN_WRITE, "its owner and mode can't be kept: " +
                                         SystemFailure(K_ERROR_OPEN_WRITE, kept).what);
}

Outcome AtomicFile::CreateTemporary(int mode) {
  const auto [folder, name] = SplitPath(m_target);
  if (name.empty()) return SystemFailure(K_ERROR_OPEN_WRITE, ENOENT);
  for (int i = 0; i < kMaxTries; ++i) {
    uint64_t random = 0;
    if (::getrandom(&random, sizeof(random), 0) != sizeof(random)) continue;
    std::string path = folder + TemporaryPrefix(name) + Hexadecimal(random) + std::string(kEnding);
    OwnedDescriptor file(
        OpenDescriptor(path.c_str(), O_RDWR | O_CREAT | O_EXCL, static_cast<mode_t>(mode)));
    if (file.Get() < 0) {
      if (errno == EEXIST) continue;
      return SystemFailure(K_ERROR_OPEN_WRITE, errno);
    }
    // Until the lock is ours, another process's commit may take the file for an
    // abandoned one. Where files can't be locked nobody can get the lock either.
    struct stat made;
    LockExclusively(file.Get(), 0);
    if (::fstat(file.Get(), &made) == 0 && made.st_nlink == 0) continue;
    m_path = std::move(path);
    m_descriptor = file.Release();
    return {};
  }
  return SystemFailure(K_ERROR_OPEN_WRITE, EEXIST);
}

Outcome AtomicFile::Commit() {
  if (m_descriptor < 0) return Failure(K_ERROR_OPEN_WRITE);
  if (::fsync(m_descriptor) != 0 || ::rename(m_path.c_str(), m_target.c_str()) != 0) {
    const int error = errno;
    Discard();
    return SystemFailure(K_ERROR_WRITE, error);
  }
  m_path.clear();
  ::close(std::exchange(m_descriptor, -1));
  RemoveStale();
  const std::string folder = SplitPath(m_target).first;
  const OwnedDescriptor directory(
      OpenDescriptor(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY));
  // A folder that may be written but not read can't be opened, and some file
  // systems don't know fsync of a folder: no failure of this file.
  if (directory.Get() >= 0 && ::fsync(directory.Get()) != 0 && errno == EIO) {
    return SystemFailure(K_ERROR_WRITE, EIO);
  }
  return {};
}

void AtomicFile::Discard() {
  if (m_descriptor < 0) return;
  ::unlink(m_path.c_str());
  m_path.clear();
  ::close(std::exchange(m_descriptor, -1));
}

void AtomicFile::RemoveStale() const {
  const auto [folder, name] = SplitPath(m_target);
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(
      ::opendir(folder.empty() ? "." : folder.c_str()), ::closedir);
  if (entries == nullptr) return;
  const std::string prefix = TemporaryPrefix(name);
  // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread has this folder stream
  while (const dirent* entry = ::readdir(entries.get())) {
    if (IsTemporaryName(entry->d_name, prefix)) RemoveIfAbandoned(folder + entry->d_name);
  }
}

Outcome CopyDescriptor(int from, int to) {
  constexpr size_t kCopyAtOnce = size_t{1} << 30;
  for (;;) {
    const ssize_t n = ::copy_file_range(from, nullptr, to, nullptr, kCopyAtOnce, 0);
    if (n > 0 || (n < 0 && errno == EINTR)) continue;
    // At the end, or a pair of files that the system doesn't copy by itself: what is
    // left, if anything, goes through memory.
    break;
  }
  std::vector<char> buffer(size_t{256} * 1024);
  for (;;) {
    const ssize_t read = ::read(from, buffer.data(), buffer.size());
    if (read == 0) return {};
    if (read < 0 && errno == EINTR) continue;
    if (read < 0) return SystemFailure(K_ERROR_READ, errno);
    for (ssize_t done = 0; done < read;) {
      const ssize_t n = ::write(to, buffer.data() + done, static_cast<size_t>(read - done));
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) return SystemFailure(K_ERROR_WRITE, n < 0 ? errno : EIO);
      done += n;
    }
  }
}

Outcome CopyFile(const std::string& from, const std::string& to) {
  const OwnedDescriptor source(OpenDescriptor(from.c_str(), O_RDONLY));
  if (source.Get() < 0) return SystemFailure(K_ERROR_OPEN_READ, errno);
  struct stat status;
  if (::fstat(source.Get(), &status) == 0 && S_ISDIR(status.st_mode)) {
    return SystemFailure(K_ERROR_OPEN_READ, EISDIR);
  }
  OwnedDescriptor target(OpenDescriptor(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC, kNewFileMode));
  if (target.Get() < 0) return SystemFailure(K_ERROR_OPEN_WRITE, errno);
  Outcome outcome = CopyDescriptor(source.Get(), target.Get());
  if (outcome.Ok() && ::close(target.Release()) != 0) return SystemFailure(K_ERROR_WRITE, errno);
  return outcome;
}

}  // namespace kz
