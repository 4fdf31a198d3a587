#include "Tools/kzica/Input.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "Toolkit/Documents/UnframedFile.h"
#include "Toolkit/Files/AtomicFile.h"
#include "Toolkit/Files/FileDescriptor.h"
#include "Toolkit/Files/SpoolFile.h"

namespace kzica {

namespace {

// How long a pipe may be without anyone who writes into it.
constexpr int kPatience = 5;  // seconds

// What an argument became that can't be read as it is.
struct Copy {
  std::string source;  // that could be read anywhere; the path, but for framed records
  std::string path;    // empty when it was given up
  std::unique_ptr<kz::UnframedFile> unframed;  // null without framed records
  size_t users = 0;                            // who opened it and hasn't closed it
};

// Copies are made one at a time: one that somebody else makes of the same argument is waited for.
std::mutex g_opening;
// For the list of them, within the other.
std::mutex g_listed;

// By the arguments that they were made from.
std::map<std::string, Copy>& Copies() {
  static std::map<std::string, Copy> copies;
  return copies;
}

// With g_listed locked.
const std::pair<const std::string, Copy>* FindCopy(const std::string& path) {
  for (const auto& entry : Copies()) {
    if (!path.empty() && entry.second.path == path) return &entry;
  }
  return nullptr;
}

std::string PathOf(int descriptor) { return "/proc/self/fd/" + std::to_string(descriptor); }

// Waits for the first bytes of a pipe that doesn't block, and writes them. A reader that
// blocks would wait for a writer for ever, and without a word.
kz::Outcome AwaitBytes(const std::string& file, int pipe, int to) {
  std::vector<char> bytes(size_t{64} * 1024);
  for (int waited = 0;;) {
    const ssize_t n = ::read(pipe, bytes.data(), bytes.size());
    if (n > 0) {
      const bool written = ::write(to, bytes.data(), static_cast<size_t>(n)) == n;
      return written ? kz::Outcome{} : kz::SystemFailure(K_ERROR_WRITE, errno);
    }
    const bool writer = n < 0 && errno == EAGAIN;
    if (n < 0 && !writer && errno != EINTR) return kz::SystemFailure(K_ERROR_READ, errno);
    pollfd ready = {pipe, POLLIN, 0};
    const int event = ::poll(&ready, 1, writer ? -1 : 1000);
    // Somebody wrote nothing and went away.
    if (event > 0 && (ready.revents & POLLIN) == 0) return {};
    if (event != 0) continue;
    if (++waited == kPatience) {
      return kz::Failure(K_ERROR_OPEN_READ, "nobody writes into this pipe");
    }
    if (waited == 1) Note({file}, "nobody writes into this pipe yet");
  }
}

kz::Outcome CopyPipe(const std::string& file, int to) {
  const kz::OwnedDescriptor pipe(kz::OpenDescriptor(file.c_str(), O_RDONLY | O_NONBLOCK));
  if (pipe.Get() < 0) return kz::SystemFailure(K_ERROR_OPEN_READ, errno);
  kz::Outcome outcome = AwaitBytes(file, pipe.Get(), to);
  if (!outcome.Ok()) return outcome;
  if (::fcntl(pipe.Get(), F_SETFL, 0) != 0) return kz::SystemFailure(K_ERROR_READ, errno);
  return kz::CopyDescriptor(pipe.Get(), to);
}

// Whether standard input is a file that can be opened again at its beginning.
bool IsWholeFile(int descriptor) {
  struct stat found;
  if (::fstat(descriptor, &found) != 0 || !S_ISREG(found.st_mode)) return false;
  if (::lseek(descriptor, 0, SEEK_CUR) != 0) return false;
  return kz::OwnedDescriptor(kz::OpenDescriptor(PathOf(descriptor).c_str(), O_RDONLY)).Get() >= 0;
}

// Makes an argument something that can be read anywhere.
Exit OpenAnywhere(std::string& file) {
  const bool standard = file == "-";
  struct stat found;
  if (!standard && (::stat(file.c_str(), &found) != 0 || !S_ISFIFO(found.st_mode))) return kDone;
  if (standard && ::isatty(STDIN_FILENO) == 1) {
    throw UsageError("standard input is a terminal; redirect it");
  }
  if (standard && IsWholeFile(STDIN_FILENO)) {
    file = PathOf(STDIN_FILENO);
    return kDone;
  }
  static std::list<kz::SpoolFile> spools;
  kz::SpoolFile& copy = spools.emplace_back();
  kz::Outcome outcome = copy.Open();
  if (outcome.Ok()) {
    outcome = standard ? kz::CopyDescriptor(STDIN_FILENO, copy.Descriptor())
                       : CopyPipe(file, copy.Descriptor());
  }
  if (!outcome.Ok()) return Complain({standard ? PathOf(STDIN_FILENO) : file}, outcome);
  file = copy.Path();
  return kDone;
}

}  // namespace

Exit OpenInput(std::string& file) {
  const std::lock_guard<std::mutex> opening(g_opening);
  // Where a copy was given up, what it was made from is still there.
  bool again = false;
  std::string source = file;
  {
    const std::lock_guard<std::mutex> listed(g_listed);
    const auto known = Copies().find(file);
    again = known != Copies().end();
    if (again && !known->second.path.empty()) {
      ++known->second.users;
      file = known->second.path;
      return kDone;
    }
    if (again) source = known->second.source;
  }
  if (!again && OpenAnywhere(source) != kDone) return kFileFailed;
  auto unframed = std::make_unique<kz::UnframedFile>();
  const kz::Outcome outcome = unframed->Open(source);
  const bool framed = unframed->Found().IsFramed();
  if (framed && !outcome.Ok()) return Complain({file}, outcome);
  // Whoever reads it says why a file can't be read.
  if (!framed && source == file) return kDone;
  if (framed) Warn({file}, outcome);
  std::string path = framed ? unframed->Path() : source;
  const std::lock_guard<std::mutex> listed(g_listed);
  Copies()[file] = {source, path, framed ? std::move(unframed) : nullptr, 1};
  file = path;
  return kDone;
}

void CloseInput(const std::string& path) {
  const std::lock_guard<std::mutex> opening(g_opening);
  const std::lock_guard<std::mutex> listed(g_listed);
  const auto* found = FindCopy(path);
  if (found == nullptr || found->second.unframed == nullptr) return;
  const std::string argument = found->first;
  Copy& copy = Copies()[argument];
  if (--copy.users > 0) return;
  if (copy.source == argument) {
    Copies().erase(argument);
  } else {
    copy.unframed.reset();
    copy.path.clear();
  }
}

kz::Framing FramingOf(const std::string& path) {
  const std::lock_guard<std::mutex> listed(g_listed);
  const auto* found = FindCopy(path);
  const bool framed = found != nullptr && found->second.unframed != nullptr;
  return framed ? found->second.unframed->Found() : kz::Framing{};
}

bool IsInput(const std::string& path, const std::string& out) {
  std::error_code ignored;
  const std::lock_guard<std::mutex> listed(g_listed);
  const auto* found = FindCopy(path);
  const std::string& source = found != nullptr ? found->second.source : path;
  return out != "-" && std::filesystem::equivalent(source, out, ignored);
}

std::string InputName(const std::string& path) {
  const std::lock_guard<std::mutex> listed(g_listed);
  const auto* found = FindCopy(path);
  if (found != nullptr) return found->first == "-" ? "standard input" : found->first;
  return path == PathOf(STDIN_FILENO) ? "standard input" : path;
}

}  // namespace kzica
