#include "Toolkit/Files/TemporaryFile.h"

#include <dirent.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <set>
#include <string_view>
#include <tuple>

#include "Toolkit/Files/FileVersion.h"
#include "Toolkit/Files/TemporaryFileSignals.h"

namespace kz {

namespace {

constexpr int kMaxTries = 100;
// A file name has at most 255 bytes: of a longer target name the temporary name
// holds the beginning and a hash.
constexpr size_t kMaxStem = 200;
constexpr std::string_view kMark = ".kz-";
constexpr std::string_view kEnding = ".tmp";
constexpr size_t kRandomDigits = 16;
constexpr mode_t kPrivateMode = 0600;

// The temporary files of the process, for a signal handler: it may neither lock nor
// allocate. A file that finds no slot is left to RemoveStaleFiles.
struct Slot {
  std::atomic<bool> taken = false;
  std::atomic<bool> filled = false;
  int folder = -1;
  std::array<char, 256> name;
};
std::array<Slot, 1024> g_slots;
// The handler removes what is there while other threads go on: none of them may make a
// file after that, and one that is about to has done so first.
std::atomic<bool> g_ending = false;
std::atomic<int> g_creating = 0;
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

constexpr std::array kEndingSignals = {SIGINT, SIGTERM, SIGHUP};

int FillSlot(int folder, const std::string& name) {
  for (size_t i = 0; i < g_slots.size(); ++i) {
    Slot& slot = g_slots[i];
    if (name.size() >= slot.name.size() || slot.taken.exchange(true)) continue;
    slot.folder = folder;
    slot.name[name.copy(slot.name.data(), name.size())] = '\0';
    slot.filled = true;
    return static_cast<int>(i);
  }
  return -1;
}

void FreeSlot(int slot) {
  if (slot < 0) return;
  g_slots[static_cast<size_t>(slot)].filled = false;
  g_slots[static_cast<size_t>(slot)].taken = false;
}

// While a thread makes a file and enters it: the handler runs on other threads only, and
// waits for this one.
class Creating {
 public:
  Creating() {
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int signal : kEndingSignals) ::sigaddset(&signals, signal);
    (void)::pthread_sigmask(SIG_BLOCK, &signals, &m_before);
    ++g_creating;
    if (!g_ending) return;
    --g_creating;
    while (true) ::pause();  // the process is about to end
  }
  Creating(const Creating&) = delete;
  Creating& operator=(const Creating&) = delete;
  ~Creating() {
    --g_creating;
    (void)::pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
  }

 private:
  sigset_t m_before;
};

extern "C" void RemoveFilesAndEnd(int signal) {
  constexpr int longest = 1000;  // milliseconds, for file systems that don't answer
  constexpr timespec millisecond = {.tv_sec = 0, .tv_nsec = 1000000};
  g_ending = true;
  for (int i = 0; i < longest && g_creating > 0; ++i) ::nanosleep(&millisecond, nullptr);
  for (const Slot& slot : g_slots) {
    if (slot.filled) ::unlinkat(slot.folder, slot.name.data(), 0);
  }
  // The default action has been restored, and comes when this returns.
  (void)::raise(signal);
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

bool IsTemporaryName(std::string_view name) {
  constexpr size_t tail = kMark.size() + kRandomDigits + kEnding.size();
  if (name.size() <= tail + 1 || name[0] != '.' || !name.ends_with(kEnding)) return false;
  name.remove_prefix(name.size() - tail);
  return name.starts_with(kMark) &&
         name.substr(kMark.size(), kRandomDigits).find_first_not_of("0123456789abcdef") ==
             std::string_view::npos;
}

// Never waits: another user may hold the lock.
bool TryLock(int file) {
  return ::flock(file, LOCK_EX | LOCK_NB) == 0 || (errno != EWOULDBLOCK && errno != EINTR);
}

void RemoveIfAbandoned(int folder, const char* name) {
  const OwnedDescriptor file(OpenDescriptorAt(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK));
  struct stat opened, named;
  if (file.Get() < 0 || ::fstat(file.Get(), &opened) != 0 || !S_ISREG(opened.st_mode)) return;
  if (::flock(file.Get(), LOCK_EX | LOCK_NB) != 0) return;
  // With the lock held the name can only lead elsewhere if its owner is done with it.
  if (::fstatat(folder, name, &named, AT_SYMLINK_NOFOLLOW) == 0 && IsSameFile(named, opened)) {
    ::unlinkat(folder, name, 0);
  }
}

}  // namespace

Outcome TemporaryFile::Create(int folder, const std::string& target) {
  Remove();
  const std::string prefix = TemporaryPrefix(target);
  for (int i = 0; i < kMaxTries; ++i) {
    uint64_t random = 0;
    if (::getrandom(&random, sizeof(random), 0) != sizeof(random)) continue;
    m_folder = folder;
    m_name = prefix + Hexadecimal(random) + std::string(kEnding);
    const Creating creating;
    m_slot = FillSlot(folder, m_name);
    m_file.Reset(OpenDescriptorAt(folder, m_name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW,
                                  kPrivateMode));
    if (m_file.Get() < 0) {
      const int error = errno;
      Remove();
      if (error == EEXIST) continue;
      return SystemFailure(K_ERROR_OPEN_WRITE, error);
    }
    // Until the lock is ours, another process may take the file for an abandoned one.
    struct stat made;
    if (TryLock(m_file.Get()) && ::fstat(m_file.Get(), &made) == 0 && made.st_nlink > 0) return {};
    Remove();
  }
  return SystemFailure(K_ERROR_OPEN_WRITE, EEXIST);
}

int TemporaryFile::Rename(const std::string& target, bool fresh) {
  const auto rename = [&](unsigned flags) {
    return ::renameat2(m_folder, m_name.c_str(), m_folder, target.c_str(), flags) == 0 ? 0 : errno;
  };
  int error = rename(fresh ? RENAME_NOREPLACE : 0);
  if (fresh && (error == EINVAL || error == ENOSYS)) {
    // A file system that doesn't know such renames.
    struct stat other;
    const bool exists = ::fstatat(m_folder, target.c_str(), &other, AT_SYMLINK_NOFOLLOW) == 0;
    error = exists ? EEXIST : rename(0);
  }
  if (error != 0) return error;
  FreeSlot(std::exchange(m_slot, -1));
  m_name.clear();
  m_file.Reset(-1);
  return 0;
}

void TemporaryFile::Remove() {
  if (m_file.Get() >= 0) ::unlinkat(m_folder, m_name.c_str(), 0);
  FreeSlot(std::exchange(m_slot, -1));
  m_name.clear();
  m_file.Reset(-1);
}

void RemoveStaleFiles(int folder) {
  static std::mutex mutex;
  // The time tells a folder from a removed one whose number it has.
  static std::set<std::tuple<uint32_t, uint32_t, uint64_t, int64_t, uint32_t>> known;
  struct statx found = {};
  if (::statx(folder, "", AT_EMPTY_PATH, STATX_INO | STATX_BTIME, &found) != 0) return;
  {
    const std::lock_guard<std::mutex> guard(mutex);
    const bool first = known
                           .emplace(found.stx_dev_major, found.stx_dev_minor, found.stx_ino,
                                    found.stx_btime.tv_sec, found.stx_btime.tv_nsec)
                           .second;
    if (!first) return;
  }
  OwnedDescriptor listed(OpenDescriptorAt(folder, ".", O_RDONLY | O_DIRECTORY));
  if (listed.Get() < 0) return;
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(::fdopendir(listed.Get()), ::closedir);
  if (entries == nullptr) return;
  (void)listed.Release();
  // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread has this folder stream
  while (const dirent* entry = ::readdir(entries.get())) {
    if (IsTemporaryName(entry->d_name)) RemoveIfAbandoned(folder, entry->d_name);
  }
}

void RemoveTemporaryFilesOnSignals() {
  struct sigaction action = {};
  action.sa_handler = RemoveFilesAndEnd;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  ::sigemptyset(&action.sa_mask);
  for (const int signal : kEndingSignals) ::sigaddset(&action.sa_mask, signal);
  for (const int signal : kEndingSignals) {
    struct sigaction before = {};
    if (::sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_DFL) {
      ::sigaction(signal, &action, nullptr);
    }
  }
}

}  // namespace kz
