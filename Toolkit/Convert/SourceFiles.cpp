#include "Toolkit/Convert/SourceFiles.h"

#include <dirent.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "Toolkit/Files/FileDescriptor.h"

namespace kz {

namespace {

// A name that is longer than any path is cut: opening it says what is wrong.
constexpr size_t kLongestName = size_t{64} * 1024;
constexpr size_t kListAtOnce = size_t{64} * 1024;

std::string Joined(const std::string& folder, std::string_view name) {
  std::string path = folder;
  if (!path.empty() && !path.ends_with('/')) path += '/';
  return path.append(name);
}

}  // namespace

std::string PathBelow(const std::string& path) {
  std::string below;
  for (std::string_view rest = path; !rest.empty();) {
    const size_t slash = std::min(rest.find('/'), rest.size());
    const std::string_view part = rest.substr(0, slash);
    rest.remove_prefix(std::min(slash + 1, rest.size()));
    if (part == "..") {
      const size_t last = below.rfind('/');
      below.resize(last == std::string::npos ? 0 : last);
    } else if (!part.empty() && part != ".") {
      below = Joined(below, part);
    }
  }
  return below;
}

// What a folder holds, sorted; each name ends with a zero byte.
struct SourceFiles::Folder {
  std::string path;
  std::string relative;
  std::string names;
  std::vector<size_t> files;  // where the names begin
  std::vector<size_t> folders;
  std::vector<size_t> broken;  // of links that lead nowhere, and what else has no kind
  size_t nextFile = 0;
  size_t nextBroken = 0;
  size_t nextFolder = 0;

  // 0 or an errno value.
  int Read(int descriptor) {
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(::fdopendir(descriptor), ::closedir);
    if (entries == nullptr) {
      const int error = errno;
      ::close(descriptor);
      return error;
    }
    for (;;) {
      errno = 0;
      // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread has this folder stream
      const dirent* entry = ::readdir(entries.get());
      if (entry == nullptr) break;
      const std::string_view name = entry->d_name;
      if (name == "." || name == "..") continue;
      std::vector<size_t>* const list = ListOf(::dirfd(entries.get()), *entry);
      if (list == nullptr) continue;
      list->push_back(names.size());
      names.append(name);
      names += '\0';
    }
    if (errno != 0) return errno;
    for (auto* list : {&files, &folders, &broken}) {
      std::sort(list->begin(), list->end(), [this](size_t a, size_t b) {
        return std::strcmp(names.c_str() + a, names.c_str() + b) < 0;
      });
    }
    return 0;
  }

 private:
  // Null for what is neither file nor folder.
  std::vector<size_t>* ListOf(int folder, const dirent& entry) {
    unsigned char type = entry.d_type;
    if (type == DT_LNK || type == DT_UNKNOWN) {
      struct stat found;
      if (::fstatat(folder, entry.d_name, &found, 0) != 0) return &broken;
      type = S_ISREG(found.st_mode) ? DT_REG : S_ISDIR(found.st_mode) ? DT_DIR : DT_FIFO;
    }
    return type == DT_REG ? &files : type == DT_DIR ? &folders : nullptr;
  }
};

// Names in a file, read piece by piece.
class SourceFiles::List {
 public:
  Outcome Open(const std::string& name) {
    m_name = name == "-" ? "standard input" : name;
    m_file.Reset(name == "-" ? ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3)
                             : OpenDescriptor(name.c_str(), O_RDONLY));
    if (m_file.Get() < 0) return SystemFailure(K_ERROR_OPEN_READ, errno);
    struct stat found;
    if (::fstat(m_file.Get(), &found) == 0 && S_ISDIR(found.st_mode)) {
      return SystemFailure(K_ERROR_OPEN_READ, EISDIR);
    }
    // A whole piece shows what separates the names: none is as long.
    while (!m_ended && m_bytes.size() < kListAtOnce) Fill();
    if (m_bytes.find('\0') != std::string::npos) m_separator = '\0';
    return {};
  }

  // False at the end.
  bool Next(std::string& name, Outcome& problem) {
    for (;;) {
      const size_t end = m_bytes.find(m_separator, m_at);
      if (end != std::string::npos || m_ended) {
        if (end == std::string::npos && m_at == m_bytes.size()) return Failed(name, problem);
        const size_t length = std::min(end, m_bytes.size()) - m_at;
        name = m_bytes.substr(m_at, std::min(length, kLongestName));
        m_at += length + (end == std::string::npos ? 0 : 1);
        if (!name.empty()) return true;
      } else {
        m_bytes.erase(0, m_at);
        m_at = 0;
        if (m_bytes.size() > kLongestName) m_bytes.resize(kLongestName);
        Fill();
      }
    }
  }

 private:
  void Fill() {
    const size_t size = m_bytes.size();
    m_bytes.resize(size + kListAtOnce);
    ssize_t n = -1;
    do {
      n = ::read(m_file.Get(), m_bytes.data() + size, kListAtOnce);
    } while (n < 0 && errno == EINTR);
    if (n < 0) m_error = errno;
    m_ended = n <= 0;
    m_bytes.resize(size + static_cast<size_t>(std::max<ssize_t>(n, 0)));
  }

  bool Failed(std::string& name, Outcome& problem) {
    if (m_error == 0) return false;
    problem = SystemFailure(K_ERROR_READ, std::exchange(m_error, 0));
    name = m_name;
    return true;
  }

  std::string m_name;
  OwnedDescriptor m_file;
  std::string m_bytes;
  size_t m_at = 0;
  char m_separator = '\n';
  bool m_ended = false;
  int m_error = 0;
};

SourceFiles::SourceFiles(SourceRequest request) : m_request(std::move(request)) {}
SourceFiles::~SourceFiles() = default;

Outcome SourceFiles::Open() {
  if (!m_request.except.empty() && ::stat(m_request.except.c_str(), &m_except) != 0) m_except = {};
  if (m_request.list.empty()) return {};
  m_list = std::make_unique<List>();
  return m_list->Open(m_request.list);
}

bool SourceFiles::IsOneFolder() const {
  struct stat found;
  return m_request.list.empty() && m_request.sources.size() == 1 &&
         ::stat(m_request.sources[0].c_str(), &found) == 0 && S_ISDIR(found.st_mode);
}

bool SourceFiles::NextName(std::string& name, bool& listed, Outcome& problem) {
  listed = m_next >= m_request.sources.size();
  if (listed) return m_list != nullptr && m_list->Next(name, problem);
  name = m_request.sources[m_next++];
  return true;
}

bool SourceFiles::Next(SourceFile& file) {
  file = {};
  for (;;) {
    if (m_folders.empty()) {
      std::string name;
      bool listed = false;
      if (!NextName(name, listed, file.problem)) return false;
      if (!file.problem.Ok()) {
        file.path = name;
        file.named = true;
        return true;
      }
      if (Begin(name, listed, file)) return true;
      continue;
    }
    Folder& folder = *m_folders.back();
    const bool whole = folder.nextFile < folder.files.size();
    if (whole || folder.nextBroken < folder.broken.size()) {
      const size_t at =
          whole ? folder.files[folder.nextFile++] : folder.broken[folder.nextBroken++];
      const std::string_view name = folder.names.c_str() + at;
      file.path = Joined(folder.path, name);
      file.relative = Joined(folder.relative, name);
      struct stat found;
      if (!whole && ::stat(file.path.c_str(), &found) != 0) {
        file.problem = SystemFailure(K_ERROR_OPEN_READ, errno);
      }
      return true;
    }
    if (folder.nextFolder == folder.folders.size()) {
      m_folders.pop_back();
      continue;
    }
    const std::string_view name = folder.names.c_str() + folder.folders[folder.nextFolder++];
    if (Enter(Joined(folder.path, name), Joined(folder.relative, name), false, file)) return true;
  }
}

// True when it gives a file, or a problem; false for a folder, which is entered.
bool SourceFiles::Begin(const std::string& name, bool listed, SourceFile& file) {
  m_entered.clear();
  struct stat found;
  const bool known = ::stat(name.c_str(), &found) == 0;
  if (known && S_ISDIR(found.st_mode)) {
    return Enter(name, listed ? PathBelow(name) : std::string(), true, file);
  }
  file.path = name;
  file.named = true;
  const std::string below = PathBelow(name);
  file.relative = listed ? below : below.substr(below.rfind('/') + 1);
  if (!known) {
    file.problem = SystemFailure(K_ERROR_OPEN_READ, errno);
  } else if (!S_ISREG(found.st_mode)) {
    file.problem = Failure(K_ERROR_OPEN_READ, "only regular files can be read");
  }
  return true;
}

// True when it gives a problem.
bool SourceFiles::Enter(const std::string& path, const std::string& relative, bool root,
                        SourceFile& file) {
  const auto fail = [&](int error) {
    file.path = path;
    file.relative = relative;
    file.problem = SystemFailure(K_ERROR_OPEN_READ, error);
    return true;
  };
  OwnedDescriptor descriptor(OpenDescriptor(path.c_str(), O_RDONLY | O_DIRECTORY));
  struct stat found;
  if (descriptor.Get() < 0 || ::fstat(descriptor.Get(), &found) != 0) return fail(errno);
  const bool outputs = found.st_dev == m_except.st_dev && found.st_ino == m_except.st_ino;
  if (!root && outputs && m_except.st_ino != 0) return false;
  if (!m_entered.emplace(found.st_dev, found.st_ino).second) return false;
  auto folder = std::make_unique<Folder>();
  folder->path = path;
  folder->relative = relative;
  const int error = folder->Read(descriptor.Release());
  if (error != 0) return fail(error);
  m_folders.push_back(std::move(folder));
  return false;
}

}  // namespace kz
