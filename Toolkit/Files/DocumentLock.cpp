#include "Toolkit/Files/DocumentLock.h"

#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <thread>
#include <utility>
#include <vector>

#include "Toolkit/Files/FileDescriptor.h"
#include "Toolkit/Files/FileVersion.h"
#include "Toolkit/Files/WritingPolicy.h"

namespace kz {

struct DocumentLock::Held {
  OwnedDescriptor file;
  struct stat found;
  bool locked = false;  // false where the file system has no locks
};

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kShortestPause(2);
constexpr std::chrono::milliseconds kLongestPause(50);

// Waits for a lock with rising pauses, and knows when to speak and when to give up.
class Patience {
 public:
  explicit Patience(const std::string& file) : m_file(file) {}

  // The file is another or has changed: whoever holds the lock makes progress.
  void Renew() { m_since = Clock::now(); }

  // Pauses. False when it is time to give up.
  bool Pause() {
    const WritingPolicy& policy = Writing();
    const auto now = Clock::now();
    if (!policy.wait || now - m_since >= policy.patience) return false;
    if (!m_said && now - m_start >= policy.silence) {
      m_said = true;
      if (policy.note) policy.note(m_file, "waiting for another program that has locked it");
    }
    std::this_thread::sleep_for(m_pause);
    m_pause = std::min(2 * m_pause, kLongestPause);
    return true;
  }

 private:
  const std::string& m_file;
  Clock::time_point m_start = Clock::now();
  Clock::time_point m_since = m_start;
  std::chrono::milliseconds m_pause = kShortestPause;
  bool m_said = false;
};

Outcome GaveUp() {
  const WritingPolicy& policy = Writing();
  std::string what = "another program has locked it";
  if (policy.wait) {
    const auto waited = std::chrono::duration_cast<std::chrono::seconds>(policy.patience);
    what += ", and kept the lock for " + std::to_string(waited.count()) + " seconds";
  }
  return Failure(K_ERROR_OPEN_WRITE, std::move(what));
}

// A lock asks for no particular right to the file; but network file systems lock only
// what is open for writing.
int OpenAny(int folder, const char* name) {
  int file = -1;
  for (const int access : {O_RDWR, O_RDONLY, O_WRONLY}) {
    file = OpenDescriptorAt(folder, name, access | O_NONBLOCK | O_NOCTTY);
    if (file >= 0 || errno == ENOENT) break;
  }
  return file;
}

Outcome RefuseIrregular(const struct stat& found) {
  if (S_ISDIR(found.st_mode)) return SystemFailure(K_ERROR_OPEN_READ, EISDIR);
  if (S_ISREG(found.st_mode)) return {};
  return Failure(K_ERROR_OPEN_READ, "only regular files can be read");
}

}  // namespace

WritingPolicy& Writing() {
  static WritingPolicy policy;
  return policy;
}

Outcome DocumentLock::Take(const std::string& path) { return Take(AT_FDCWD, path, path); }

Outcome DocumentLock::Take(int folder, const std::string& name, const std::string& path,
                           std::function<void()> beforeWaiting) {
  // What this thread holds; a second descriptor of the same file would wait for it.
  static thread_local std::vector<std::weak_ptr<const Held>> t_held;
  m_held.reset();
  std::erase_if(t_held, [](const auto& held) { return held.expired(); });
  Patience patience(path);
  auto taken = std::make_shared<Held>();
  struct stat named;
  for (;;) {
    if (taken->file.Get() < 0) {
      taken->file.Reset(OpenAny(folder, name.c_str()));
      if (taken->file.Get() < 0 || ::fstat(taken->file.Get(), &taken->found) != 0) {
        return SystemFailure(K_ERROR_OPEN_READ, errno);
      }
      Outcome outcome = RefuseIrregular(taken->found);
      if (!outcome.Ok()) return outcome;
      for (const auto& other : t_held) {
        const auto held = other.lock();
        if (held != nullptr && IsSameFile(held->found, taken->found)) {
          m_held = held;
          return {};
        }
      }
    }
    taken->locked = ::flock(taken->file.Get(), LOCK_EX | LOCK_NB) == 0;
    const bool busy = !taken->locked && errno == EWOULDBLOCK;
    // A writer puts a new file under the name: the lock must be that file's.
    if (::fstatat(folder, name.c_str(), &named, 0) != 0) {
      return SystemFailure(K_ERROR_OPEN_READ, errno);
    }
    const bool replaced = !IsSameFile(named, taken->found);
    if (!busy && !replaced) break;
    if (!IsSameVersion(named, taken->found)) patience.Renew();
    taken->found = named;
    if (replaced) taken->file.Reset(-1);
    if (busy && beforeWaiting) std::exchange(beforeWaiting, nullptr)();
    if (busy && !patience.Pause()) return GaveUp();
  }
  taken->found = named;
  t_held.push_back(taken);
  m_held = std::move(taken);
  return {};
}

const struct stat& DocumentLock::Found() const {
  static const struct stat nothing = {};
  if (m_held == nullptr) return nothing;
  return m_held->found;
}

bool DocumentLock::IsEffective() const { return m_held != nullptr && m_held->locked; }

int DocumentLock::Descriptor() const { return m_held != nullptr ? m_held->file.Get() : -1; }

}  // namespace kz
