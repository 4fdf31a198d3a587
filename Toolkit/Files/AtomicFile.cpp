#include "Toolkit/Files/AtomicFile.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <iterator>
#include <map>
#include <tuple>
#include <utility>

#include "Toolkit/Files/DocumentLock.h"
#include "Toolkit/Files/FileDescriptor.h"
#include "Toolkit/Files/FileRights.h"
#include "Toolkit/Files/FileVersion.h"
#include "Toolkit/Files/TemporaryFile.h"

namespace kz {

// A file that waits for its place. The temporary file goes before the folder.
struct PendingFile {
  std::string target;  // as the caller calls it
  std::string path;    // after following links
  std::string name;    // the last part of the path
  OwnedDescriptor folder;
  struct stat place = {};     // the folder
  DocumentLock lock;          // of an existing target
  bool fresh = false;         // there is no target yet
  struct stat expected = {};  // the target that may be replaced
  FileRights rights;
  TemporaryFile temporary;
  std::string temporaryPath;
};

namespace {

constexpr int kMaxLinks = 40;
constexpr size_t kMostInBatch = 128;
// A file in a batch keeps a folder, a lock and itself open.
constexpr size_t kDescriptorsPerFile = 3;

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

// Finds the folder and locks the target, if there is one. -14 when it may not be
// replaced.
Outcome FindTarget(PendingFile& file, FileBatch* batch) {
  file.path = file.target;
  const int error = FollowLinks(file.path);
  if (error != 0) return SystemFailure(K_ERROR_OPEN_WRITE, error);
  std::string folder;
  std::tie(folder, file.name) = SplitPath(file.path);
  if (file.name.empty()) {
    const bool exists = ::stat(file.path.c_str(), &file.place) == 0;
    return SystemFailure(K_ERROR_OPEN_WRITE, exists ? EISDIR : errno);
  }
  // Needs no right to list the folder.
  file.folder.Reset(OpenDescriptor(folder.empty() ? "." : folder.c_str(), O_PATH | O_DIRECTORY));
  if (file.folder.Get() < 0 || ::fstat(file.folder.Get(), &file.place) != 0) {
    return SystemFailure(K_ERROR_OPEN_WRITE, errno);
  }
  const char* name = file.name.c_str();
  if (::fstatat(file.folder.Get(), name, &file.expected, AT_SYMLINK_NOFOLLOW) != 0) {
    file.fresh = errno == ENOENT;
    return file.fresh ? Outcome{} : SystemFailure(K_ERROR_OPEN_WRITE, errno);
  }
  if (S_ISDIR(file.expected.st_mode)) return SystemFailure(K_ERROR_OPEN_WRITE, EISDIR);
  if (!S_ISREG(file.expected.st_mode)) {
    return Failure(K_ERROR_OPEN_WRITE, "not a regular file");
  }
  // A rename asks the folder only; a file that may not be written stays.
  if (::faccessat(file.folder.Get(), name, W_OK, AT_EACCESS) != 0) {
    return SystemFailure(K_ERROR_OPEN_WRITE, errno);
  }
  Outcome outcome = file.lock.Take(file.folder.Get(), file.name, file.target, [batch] {
    if (batch != nullptr) batch->Finish();
  });
  if (!outcome.Ok()) return Failure(K_ERROR_OPEN_WRITE, outcome.what);
  file.expected = file.lock.Found();
  return {};
}

Outcome MakeTemporary(PendingFile& file) {
  Outcome outcome = file.temporary.Create(file.folder.Get(), file.name);
  if (!outcome.Ok()) return outcome;
  const int descriptor = file.temporary.Descriptor();
  file.rights = file.fresh ? FileRights::OfNewFile(file.folder.Get())
                           : FileRights::Of(file.lock.Descriptor(), file.lock.Found());
  const int error = file.rights.GiveOwner(descriptor);
  if (error != 0) {
    return Failure(K_ERROR_OPEN_WRITE, "its owner and mode can't be kept: " +
                                           SystemFailure(K_ERROR_OPEN_WRITE, error).what);
  }
  // This name leads to the file itself, whatever happens to the one in the folder.
  file.temporaryPath = "/proc/self/fd/" + std::to_string(descriptor);
  if (::access(file.temporaryPath.c_str(), F_OK) != 0) {
    file.temporaryPath = SplitPath(file.path).first + file.temporary.Name();
  }
  return {};
}

Outcome GiveRights(const PendingFile& file) {
  std::string lost;
  const int error = file.rights.Give(file.temporary.Descriptor(), lost);
  Outcome outcome = error == 0 ? Outcome{} : SystemFailure(K_ERROR_WRITE, error);
  if (!lost.empty()) outcome.warnings.push_back("the new file does without " + lost);
  return outcome;
}

// Puts a file that is stored on the disk in its place.
Outcome PutInPlace(PendingFile& file) {
  if (!file.fresh) {
    struct stat now;
    if (::fstatat(file.folder.Get(), file.name.c_str(), &now, AT_SYMLINK_NOFOLLOW) != 0) {
      return SystemFailure(K_ERROR_WRITE, errno);
    }
    if (!IsSameVersion(now, file.expected)) {
      return Failure(K_ERROR_WRITE, "another program has changed it meanwhile; it stays as it is");
    }
  }
  const int error = file.temporary.Rename(file.name, file.fresh);
  if (error == EEXIST && file.fresh) {
    return Failure(K_ERROR_WRITE, "another program has made it meanwhile; it stays as it is");
  }
  return error == 0 ? Outcome{} : SystemFailure(K_ERROR_WRITE, error);
}

// Stores the folder's entries on the disk.
Outcome SyncFolder(int folder) {
  const OwnedDescriptor directory(OpenDescriptorAt(folder, ".", O_RDONLY | O_DIRECTORY));
  // A folder that may be written but not read can't be opened, and some file
  // systems don't know fsync of a folder: no failure of this file.
  if (directory.Get() >= 0 && ::fsync(directory.Get()) != 0 && errno == EIO) {
    return SystemFailure(K_ERROR_WRITE, EIO);
  }
  return {};
}

}  // namespace

AtomicFile::AtomicFile() = default;
AtomicFile::~AtomicFile() = default;

Outcome AtomicFile::Open(const std::string& target, FileBatch* batch) {
  Discard();
  m_batch = batch;
  if (batch != nullptr) batch->Expect(target);
  auto file = std::make_unique<PendingFile>();
  file->target = target;
  Outcome outcome = FindTarget(*file, batch);
  if (outcome.Ok()) outcome = MakeTemporary(*file);
  if (outcome.Ok()) m_file = std::move(file);
  return outcome;
}

void AtomicFile::MadeFrom(const struct stat& version) {
  if (m_file != nullptr && !m_file->fresh) m_file->expected = version;
}

const std::string& AtomicFile::Path() const {
  static const std::string none;
  if (m_file == nullptr) return none;
  return m_file->temporaryPath;
}

int AtomicFile::Descriptor() const {
  return m_file != nullptr ? m_file->temporary.Descriptor() : -1;
}

Outcome AtomicFile::Commit() {
  if (m_file == nullptr) return Failure(K_ERROR_OPEN_WRITE);
  std::unique_ptr<PendingFile> file = std::move(m_file);
  Outcome kept = GiveRights(*file);
  if (!kept.Ok()) return kept;
  if (m_batch != nullptr) {
    m_batch->Add(std::move(file));
    return kept;
  }
  if (::fsync(file->temporary.Descriptor()) != 0) return SystemFailure(K_ERROR_WRITE, errno);
  Outcome outcome = PutInPlace(*file);
  if (!outcome.Ok()) return outcome;
  RemoveStaleFiles(file->folder.Get());
  outcome = SyncFolder(file->folder.Get());
  return outcome.Ok() ? kept : outcome;
}

void AtomicFile::Discard() { m_file.reset(); }

FileBatch::FileBatch(Failed failed, size_t most)
    : m_failed(std::move(failed)), m_most(most > 0 ? most : Most()) {}
FileBatch::~FileBatch() = default;

size_t FileBatch::Most() {
  rlimit limit;
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return 1;
  return std::clamp(static_cast<size_t>(limit.rlim_cur) / (2 * kDescriptorsPerFile), size_t{1},
                    kMostInBatch);
}

void FileBatch::Adopt(FileBatch& other) {
  m_files.insert(m_files.end(), std::make_move_iterator(other.m_files.begin()),
                 std::make_move_iterator(other.m_files.end()));
  other.m_files.clear();
}

void FileBatch::Add(std::unique_ptr<PendingFile> file) {
  m_files.push_back(std::move(file));
  if (m_files.size() >= m_most) Finish();
}

void FileBatch::Expect(const std::string& path) {
  const bool known = std::any_of(m_files.begin(), m_files.end(),
                                 [&](const auto& file) { return file->target == path; });
  if (known) Finish();
}

void FileBatch::Finish() {
  const auto files = std::exchange(m_files, {});
  std::map<dev_t, int> synced;  // file systems, and what syncing them came to
  std::map<std::pair<dev_t, ino_t>, const PendingFile*> folders;
  for (const auto& file : files) {
    const int descriptor = file->temporary.Descriptor();
    folders.emplace(std::pair(file->place.st_dev, file->place.st_ino), file.get());
    const auto [entry, added] = synced.try_emplace(file->place.st_dev, 0);
    if (!added) continue;
    const int result = files.size() == 1 ? ::fsync(descriptor) : ::syncfs(descriptor);
    if (result != 0) entry->second = errno;
  }
  for (const auto& file : files) {
    const int error = synced[file->place.st_dev];
    const Outcome outcome = error == 0 ? PutInPlace(*file) : SystemFailure(K_ERROR_WRITE, error);
    if (!outcome.Ok()) m_failed(file->target, outcome);
  }
  for (const auto& [identity, file] : folders) {
    RemoveStaleFiles(file->folder.Get());
    const Outcome outcome = SyncFolder(file->folder.Get());
    if (!outcome.Ok()) m_failed(file->target, outcome);
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
  std::vector<unsigned char> buffer(size_t{256} * 1024);
  for (;;) {
    const ssize_t read = ::read(from, buffer.data(), buffer.size());
    if (read == 0) return {};
    if (read < 0 && errno == EINTR) continue;
    if (read < 0) return SystemFailure(K_ERROR_READ, errno);
    if (!WriteFully(to, buffer.data(), static_cast<size_t>(read))) {
      return SystemFailure(K_ERROR_WRITE, errno);
    }
  }
}

}  // namespace kz
