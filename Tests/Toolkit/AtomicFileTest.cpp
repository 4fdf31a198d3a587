#include "Host/Toolkit/AtomicFile.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>

#include "Tests/Toolkit/TestPictures.h"

namespace kz::test {

namespace {

struct stat StatusOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
  return status;
}

Outcome Replace(const std::string& path, std::string_view text) {
  AtomicFile file;
  Outcome outcome = file.Open(path);
  if (!outcome.Ok()) return outcome;
  std::ofstream(file.Path(), std::ios::binary) << text;
  return file.Commit();
}

// Runs in a child process. Returns what `work` returned.
int InChild(const std::function<int()>& work) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(work());
  int status = -1;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(AtomicFile, ModeAndOwnerAreKept) {
  const TemporaryFolder folder;
  for (const mode_t mode : {0600U, 0640U, 0666U, 0755U, 0200U}) {
    folder.File("file", AsBytes("old"));
    ASSERT_EQ(::chmod((folder / "file").c_str(), mode), 0);
    if (::geteuid() == 0) {
      ASSERT_EQ(::chown((folder / "file").c_str(), 1234, 5678), 0);
    }
    const struct stat before = StatusOf(folder / "file");
    ASSERT_TRUE(Replace(folder / "file", "new").Ok());
    const struct stat after = StatusOf(folder / "file");
    EXPECT_EQ(after.st_mode, before.st_mode);
    EXPECT_EQ(after.st_uid, before.st_uid);
    EXPECT_EQ(after.st_gid, before.st_gid);
    std::filesystem::remove(folder / "file");
  }
  const mode_t umask = ::umask(027);
  ASSERT_TRUE(Replace(folder / "new", "new").Ok());
  ::umask(umask);
  EXPECT_EQ(StatusOf(folder / "new").st_mode & 0777U, 0640U);
}

TEST(AtomicFile, WhatAKilledProcessLeftGoesWithTheNextCommit) {
  const TemporaryFolder folder;
  const std::string longName(240, 'n');
  for (const std::string& name : {std::string("file"), longName}) {
    const std::string path = folder / name;
    // One process is killed in the middle, one still works.
    EXPECT_EQ(InChild([&] {
                auto* file = new AtomicFile;
                return file->Open(path).Ok() ? 0 : 1;
              }),
              0);
    AtomicFile other;
    ASSERT_TRUE(other.Open(path).Ok());
    std::string similar = ".";
    similar += name.substr(0, 100) + ".kz-notours.tmp";
    folder.File(similar, AsBytes("x"));
    ASSERT_EQ(folder.Names().size(), 3U);
    ASSERT_TRUE(Replace(path, "new").Ok());
    EXPECT_EQ(folder.Names().size(), 3U);
    EXPECT_TRUE(std::filesystem::exists(other.Path()));
    ASSERT_TRUE(other.Commit().Ok());
    EXPECT_EQ(folder.Names().size(), 2U);
    for (const std::string& left : folder.Names()) std::filesystem::remove(folder / left);
  }
}

TEST(AtomicFile, ManyProcessesLeaveOneWholeFile) {
  const TemporaryFolder folder;
  std::vector<pid_t> children;
  for (int i = 0; i < 6; ++i) {
    const pid_t child = ::fork();
    if (child == 0) {
      const std::string text(1000, static_cast<char>('a' + i));
      bool good = true;
      for (int n = 0; n < 50; ++n) good = Replace(folder / "file", text).Ok() && good;
      ::_exit(good ? 0 : 1);
    }
    children.push_back(child);
  }
  for (const pid_t child : children) {
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
  const Bytes whole = FileBytes(folder / "file");
  ASSERT_EQ(whole.size(), 1000U);
  EXPECT_EQ(whole, Bytes(1000, whole[0]));
  EXPECT_EQ(folder.Names(), std::vector<std::string>{"file"});
}

TEST(CopyFile, CopiesOrSaysWhyNot) {
  const TemporaryFolder folder;
  Bytes large(700000);
  std::mt19937 random(3);
  for (unsigned char& byte : large) byte = static_cast<unsigned char>(random());
  for (const Bytes& content : {Bytes(), AsBytes("x"), large}) {
    folder.File("from", content);
    folder.File("to", AsBytes("longer than what comes"));
    ASSERT_TRUE(CopyFile(folder / "from", folder / "to").Ok());
    EXPECT_EQ(FileBytes(folder / "to"), content);
  }
  EXPECT_EQ(CopyFile(folder / "missing", folder / "to").status, K_ERROR_OPEN_READ);
  EXPECT_EQ(CopyFile(folder / "", folder / "to").status, K_ERROR_OPEN_READ);
  EXPECT_EQ(CopyFile(folder / "from", folder / "no/to").status, K_ERROR_OPEN_WRITE);
  EXPECT_EQ(InChild([&] {
              ::signal(SIGXFSZ, SIG_IGN);
              const rlimit limit{1000, 1000};
              ::setrlimit(RLIMIT_FSIZE, &limit);
              return CopyFile(folder / "from", folder / "to").status == K_ERROR_WRITE ? 0 : 1;
            }),
            0);
  // A system that doesn't copy between files by itself: a pipe.
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  EXPECT_EQ(::write(ends[1], "through", 7), 7);
  ::close(ends[1]);
  AtomicFile file;
  ASSERT_TRUE(file.Open(folder / "piped").Ok());
  ASSERT_TRUE(CopyDescriptor(ends[0], file.Descriptor()).Ok());
  ::close(ends[0]);
  ASSERT_TRUE(file.Commit().Ok());
  EXPECT_EQ(FileBytes(folder / "piped"), AsBytes("through"));
}

}  // namespace

}  // namespace kz::test
