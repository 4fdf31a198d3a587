#include "Host/Toolkit/AtomicFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

#include "Tests/Toolkit/TestPictures.h"

namespace kz::test {

namespace {

Outcome Replace(const std::string& path, std::string_view text) {
  AtomicFile file;
  Outcome outcome = file.Open(path);
  if (!outcome.Ok()) return outcome;
  std::ofstream(file.Path(), std::ios::binary) << text;
  return file.Commit();
}

TEST(AtomicFile, ANewFileHasTheModeThatTheUmaskLeaves) {
  const TemporaryFolder folder;
  const mode_t umask = ::umask(027);
  ASSERT_TRUE(Replace(folder / "new", "new").Ok());
  ::umask(umask);
  EXPECT_EQ(std::filesystem::status(folder / "new").permissions(), std::filesystem::perms(0640));
}

TEST(AtomicFile, WhatOthersWriteIsNotTakenForALeftOver) {
  const TemporaryFolder folder;
  AtomicFile other;
  ASSERT_TRUE(other.Open(folder / "file").Ok());
  folder.File(".file.kz-notours.tmp", AsBytes("x"));
  ASSERT_TRUE(Replace(folder / "file", "new").Ok());
  EXPECT_EQ(folder.Names().size(), 3U);
  EXPECT_TRUE(std::filesystem::exists(other.Path()));
  EXPECT_TRUE(other.Commit().Ok());
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

// A system that doesn't copy between files by itself: a pipe.
TEST(CopyDescriptor, ReadsAndWritesWhatTheSystemDoesNotCopy) {
  const TemporaryFolder folder;
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
