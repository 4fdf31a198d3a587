#include "Toolkit/Files/AtomicFile.h"

#include <dirent.h>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <functional>

#include "Tests/Support/TestPictures.h"
#include "Toolkit/Files/DocumentLock.h"
#include "Toolkit/Files/FileDescriptor.h"
#include "Toolkit/Files/WritingPolicy.h"

// The calls that wait for the disk, or cost as much as the folder is long.
static struct Calls {
  int syncs = 0;
  int listings = 0;
} g_calls;

namespace {

template <typename Function>
Function Next(const char* name) {
  return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" K_EXPORT int fsync(int file) {
  ++g_calls.syncs;
  return Next<int (*)(int)>("fsync")(file);
}

extern "C" K_EXPORT int syncfs(int file) noexcept {
  ++g_calls.syncs;
  return Next<int (*)(int)>("syncfs")(file);
}

// A file system that keeps no attributes, a user who isn't in the group.
static bool g_refuseRights = false;

extern "C" K_EXPORT int fsetxattr(int file, const char* name, const void* value, size_t size,
                                  int flags) noexcept {
  if (g_refuseRights) return errno = ENOTSUP, -1;
  return Next<decltype(&fsetxattr)>("fsetxattr")(file, name, value, size, flags);
}

extern "C" K_EXPORT int fchown(int file, uid_t owner, gid_t group) noexcept {
  if (g_refuseRights) return errno = EPERM, -1;
  return Next<decltype(&fchown)>("fchown")(file, owner, group);
}

extern "C" K_EXPORT DIR* fdopendir(int folder) {
  ++g_calls.listings;
  return Next<DIR* (*)(int)>("fdopendir")(folder);
}

namespace kz::test {

namespace {

Outcome Replace(const std::string& path, std::string_view text) {
  AtomicFile file;
  Outcome outcome = file.Open(path);
  if (!outcome.Ok()) return outcome;
  std::ofstream(file.Path(), std::ios::binary) << text;
  return file.Commit();
}

// The policy of one test.
class Policy {
 public:
  Policy() {
    Writing().note = [this](const std::string&, const std::string& text) { Note(text); };
  }
  ~Policy() { Writing() = m_before; }
  std::string notes;
  std::function<void()> onNote = [] {};

 private:
  void Note(const std::string& text) {
    notes += text + "\n";
    onNote();
  }
  WritingPolicy m_before = Writing();
};

// An access control list as the system stores it.
struct ListEntry {
  uint16_t tag, rights;
  uint32_t id = 0xFFFFFFFF;
};
bool SetList(const std::string& file, const char* kind, const std::vector<ListEntry>& entries) {
  Bytes list = {2, 0, 0, 0};
  for (const ListEntry& entry : entries) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(&entry);
    list.insert(list.end(), bytes, bytes + sizeof(entry));
  }
  return ::setxattr(file.c_str(), kind, list.data(), list.size(), 0) == 0;
}
// Owner rw, user 1234 r, group -, mask r, others r.
const std::vector<ListEntry> kList = {{1, 6}, {2, 4, 1234}, {4, 0}, {16, 4}, {32, 4}};

struct Rights {
  unsigned mode;
  std::string list, note;
  bool operator==(const Rights&) const = default;
};
Rights RightsOf(const std::string& file) {
  struct stat found = {};
  ::stat(file.c_str(), &found);
  const auto attribute = [&](const char* name) {
    char value[256];
    const ssize_t n = ::getxattr(file.c_str(), name, value, sizeof(value));
    return n < 0 ? "none" : std::string(value, static_cast<size_t>(n));
  };
  return {found.st_mode & 07777, attribute("system.posix_acl_access"), attribute("user.note")};
}

TEST(AtomicFile, KeepsRightsAndIsPrivateUntilItIsComplete) {
  constexpr const char* access = "system.posix_acl_access";
  constexpr const char* inherited = "system.posix_acl_default";
  const struct {
    const char* name;
    bool exists, list, folderList;
  } cases[] = {{"new", false, false, false},
               {"new in a folder with a list", false, false, true},
               {"old", true, false, false},
               {"old with a list", true, true, false},
               {"old without a list in a folder with one", true, false, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const TemporaryFolder folder;
    const mode_t umask = ::umask(027);
    if (c.folderList && !SetList(folder / "", inherited, kList)) GTEST_SKIP() << "no lists here";
    const std::string file = folder / "file", like = folder / "like";
    for (const std::string& made : {file, like}) {
      folder.File(made == file ? "file" : "like", {});
      if (!c.exists) continue;
      ::removexattr(made.c_str(), access);
      ::chmod(made.c_str(), 0654);
      ASSERT_TRUE(!c.list || SetList(made, access, kList));
      ASSERT_EQ(::setxattr(made.c_str(), "user.note", "kept", 4, 0), 0);
    }
    if (!c.exists) ::unlink(file.c_str());
    AtomicFile atomic;
    ASSERT_TRUE(atomic.Open(file).Ok());
    ::umask(umask);
    EXPECT_EQ(RightsOf(atomic.Path()).mode & 0077, 0U);
    ASSERT_TRUE(atomic.Commit().Ok());
    EXPECT_EQ(RightsOf(file), RightsOf(like));
  }
}

TEST(AtomicFile, IsNeverMoreOpenThanWhatItReplaces) {
  const struct {
    bool list, group;
    unsigned mode, expected;
    const char* lost;
  } cases[] = {{true, false, 0, 0600, "its access control list"},
               {false, true, 0674, 0644, "its group"},
               {false, true, 02607, 0600, "its group"},
               {true, true, 0, 0600, "its group, its access control list"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.lost);
    const TemporaryFolder folder;
    const std::string file = folder.File("file", {});
    if (c.group && ::chown(file.c_str(), ::geteuid(), 1234) != 0) GTEST_SKIP() << "not root";
    if (c.list && !SetList(file, "system.posix_acl_access", kList)) GTEST_SKIP() << "no lists here";
    if (!c.list) ::chmod(file.c_str(), c.mode);
    g_refuseRights = true;
    const Outcome outcome = Replace(file, "new");
    g_refuseRights = false;
    EXPECT_TRUE(outcome.Ok()) << outcome.what;
    EXPECT_EQ(RightsOf(file).mode, c.expected);
    EXPECT_EQ(outcome.warnings, std::vector{std::string("the new file does without ") + c.lost});
  }
}

TEST(AtomicFile, ReplacesOnlyTheVersionThatWasLocked) {
  using Change = std::function<void(const std::string&)>;
  const Change write = [](const std::string& file) { std::ofstream(file, std::ios::app) << "x"; };
  const Change replace = [](const std::string& file) {
    std::ofstream(file + "2") << "by another";
    std::filesystem::rename(file + "2", file);
  };
  const struct {
    const char* name;
    bool exists;
    Change change;
    const char* what;
  } cases[] = {{"written to", true, write, "changed it meanwhile"},
               {"replaced", true, replace, "changed it meanwhile"},
               {"mode", true, [](auto& file) { ::chmod(file.c_str(), 0600); }, "changed it"},
               {"removed", true, [](auto& file) { ::unlink(file.c_str()); }, "No such file"},
               {"made", false, write, "made it meanwhile"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const TemporaryFolder folder;
    const std::string file = folder / "file";
    if (c.exists) folder.File("file", AsBytes("old"));
    AtomicFile atomic;
    ASSERT_TRUE(atomic.Open(file).Ok());
    c.change(file);
    const Bytes changed = FileBytes(file);
    const Outcome outcome = atomic.Commit();
    EXPECT_EQ(outcome.status, -5);
    EXPECT_THAT(outcome.what, testing::HasSubstr(c.what));
    EXPECT_EQ(FileBytes(file), changed);
    EXPECT_EQ(folder.Names().size(), changed.empty() ? 0U : 1U);
  }
}

TEST(AtomicFile, WaitsForALockButNotForEver) {
  const TemporaryFolder folder;
  const std::string file = folder.File("file", AsBytes("old"));
  for (const int kind : {LOCK_EX, LOCK_SH}) {
    Policy policy;
    OwnedDescriptor other(OpenDescriptor(file.c_str(), O_RDONLY));
    ASSERT_EQ(::flock(other.Get(), kind), 0);
    Writing().wait = false;
    EXPECT_EQ(Replace(file, "new").status, -14);
    Writing().wait = true;
    Writing().patience = Writing().silence = std::chrono::milliseconds(20);
    const Outcome outcome = Replace(file, "new");
    EXPECT_EQ(outcome.status, -14);
    EXPECT_THAT(outcome.what, testing::HasSubstr("kept the lock"));
    policy.notes.clear();
    Writing().patience = std::chrono::hours(1);
    policy.onNote = [&] { other.Reset(-1); };
    EXPECT_TRUE(Replace(file, "new").Ok());
    EXPECT_THAT(policy.notes, testing::HasSubstr("waiting for another program"));
  }
  // A thread's own lock doesn't stop it.
  DocumentLock lock;
  ASSERT_TRUE(lock.Take(file).Ok());
  EXPECT_TRUE(Replace(file, "newer").Ok());
}

TEST(AtomicFile, RemovesWhatKilledProcessesLeft) {
  const TemporaryFolder folder;
  AtomicFile busy;
  ASSERT_TRUE(busy.Open(folder / "other").Ok());
  folder.File(".file.kz-0123456789abcdef.tmp", {});
  folder.File(".another.kz-0123456789abcdef.tmp", {});
  folder.File(".file.kz-0123456789ABCDEF.tmp", {});  // not one of ours
  ASSERT_TRUE(Replace(folder / "file", "new").Ok());
  EXPECT_EQ(folder.Names().size(), 3U);
  EXPECT_TRUE(busy.Commit().Ok());
}

TEST(FileBatch, SyncsAndListsOnceForManyFiles) {
  const TemporaryFolder folder(TemporaryFolder::InMemory());
  std::vector<std::string> failed;
  FileBatch batch([&](const std::string& target, const Outcome&) { failed.push_back(target); });
  g_calls = {};
  constexpr int kFiles = 300;
  for (int i = 0; i < kFiles; ++i) {
    AtomicFile file;
    ASSERT_TRUE(file.Open(folder / std::to_string(i), &batch).Ok());
    ASSERT_EQ(::write(file.Descriptor(), "content", 7), 7);
    ASSERT_TRUE(file.Commit().Ok());
    EXPECT_EQ(std::filesystem::exists(folder / "0"), i >= 127);
  }
  folder.File("299", AsBytes("by another"));
  batch.Finish();
  EXPECT_EQ(g_calls.listings, 1);
  EXPECT_LE(g_calls.syncs, 12);
  EXPECT_EQ(failed, std::vector<std::string>{folder / "299"});
  EXPECT_EQ(folder.Names().size(), size_t{kFiles});
  EXPECT_EQ(FileBytes(folder / "298"), AsBytes("content"));
  EXPECT_EQ(FileBytes(folder / "299"), AsBytes("by another"));
}

}  // namespace

}  // namespace kz::test
