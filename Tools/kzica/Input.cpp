#include "Tools/kzica/Input.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <list>
#include <map>
#include <vector>

#include "Toolkit/Files/AtomicFile.h"
#include "Toolkit/Files/FileDescriptor.h"
#include "Tools/kzica/SpoolFile.h"

namespace kzica {

namespace {

// How long a pipe may be without anyone who writes into it.
constexpr int kPatience = 5;  // seconds

// The paths of the copies, by the arguments that they were made from.
std::map<std::string, std::string>& Copies() {
  static std::map<std::string, std::string> copies;
  return copies;
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

}  // namespace

Exit OpenInput(std::string& file) {
  const auto known = Copies().find(file);
  if (known != Copies().end()) {
    file = known->second;
    return kDone;
  }
  const bool standard = file == "-";
  struct stat found;
  if (!standard && (::stat(file.c_str(), &found) != 0 || !S_ISFIFO(found.st_mode))) return kDone;
  if (standard && ::isatty(STDIN_FILENO) == 1) {
    throw UsageError("standard input is a terminal; redirect it");
  }
  if (standard && IsWholeFile(STDIN_FILENO)) {
    file = Copies()[file] = PathOf(STDIN_FILENO);
    return kDone;
  }
  static std::list<SpoolFile> spools;
  SpoolFile& copy = spools.emplace_back();
  kz::Outcome outcome = copy.Open();
  if (outcome.Ok()) {
    outcome = standard ? kz::CopyDescriptor(STDIN_FILENO, copy.Descriptor())
                       : CopyPipe(file, copy.Descriptor());
  }
  if (!outcome.Ok()) return Complain({standard ? PathOf(STDIN_FILENO) : file}, outcome);
  file = Copies()[file] = copy.Path();
  return kDone;
}

std::string InputName(const std::string& path) {
  for (const auto& [argument, copy] : Copies()) {
    if (path == copy) return argument == "-" ? "standard input" : argument;
  }
  return path == PathOf(STDIN_FILENO) ? "standard input" : path;
}

}  // namespace kzica
