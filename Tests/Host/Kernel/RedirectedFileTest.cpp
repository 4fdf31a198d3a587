// The kernel's buffered files: what callers see must be what an unbuffered file
// would show, and what the buffer saves must be saved.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <random>
#include <utility>

#include "Host/Kernel/Kernel.h"
#include "Host/Kernel/KernelTesting.h"
#include "Tests/Support/TemporaryFolder.h"

namespace {

constexpr int kUpdateCreate = K_OPEN_UPDATE | K_OPEN_CREATE;
constexpr int kLast = INT32_MAX;
constexpr unsigned kBuffer = 65536;

// Closes at the end of a test that doesn't.
struct OpenFile {
  OpenFile(const std::string& path, int flags) : handle(K_RedirectedOpen(path.c_str(), flags, 0)) {}
  ~OpenFile() {
    if (handle != K_InvalidHandle()) K_RedirectedClose(handle);
  }
  int Close() { return K_RedirectedClose(std::exchange(handle, K_InvalidHandle())); }
  Bytes Read(unsigned count) {
    Bytes bytes(count);
    const int n = K_RedirectedRead(handle, bytes.data(), count);
    bytes.resize(n < 0 ? 0 : static_cast<size_t>(n));
    return bytes;
  }
  int Write(const Bytes& bytes) {
    return K_RedirectedWrite(handle, bytes.data(), static_cast<unsigned>(bytes.size()));
  }
  int Seek(int offset, int origin = K_SEEK_START) {
    return K_RedirectedSeek(handle, offset, origin);
  }
  tagHANDLE* handle;
};

Bytes Slice(const Bytes& bytes, size_t from, size_t count) {
  from = std::min(from, bytes.size());
  const size_t to = std::min(bytes.size(), from + count);
  return Bytes(bytes.begin() + static_cast<ptrdiff_t>(from),
               bytes.begin() + static_cast<ptrdiff_t>(to));
}

class RandomSteps : public testing::TestWithParam<unsigned> {};

TEST_P(RandomSteps, ShowAndLeaveWhatAPlainFileWould) {
  const TemporaryFolder folder;
  std::mt19937 random(GetParam());
  const auto below = [&](size_t n) { return static_cast<size_t>(random() % n); };
  const auto size = [&]() -> size_t {
    constexpr size_t kSizes[] = {0, 1, 8, 511, 512, 513, 32768, 65000, 65535, 65536, 65537, 140001};
    return below(3) == 0 ? kSizes[below(std::size(kSizes))] : below(700);
  };
  Bytes model = Pattern(below(300000));
  size_t position = 0;
  const std::string path = folder.File("file", model);
  for (int reopened = 0; reopened < 4; ++reopened) {
    OpenFile file(path, K_OPEN_UPDATE);
    position = 0;
    for (int step = 0; step < 3000; ++step) {
      const size_t count = size();
      switch (below(4)) {
        case 0: {
          const Bytes expected = Slice(model, position, count);
          ASSERT_EQ(file.Read(static_cast<unsigned>(count)), expected) << "step " << step;
          position += expected.size();
          break;
        }
        case 1: {
          if (position + count > 300000) break;
          const Bytes bytes = Pattern(count, static_cast<unsigned>(random()));
          ASSERT_EQ(file.Write(bytes), static_cast<int>(count)) << "step " << step;
          if (count > 0) model.resize(std::max(model.size(), position + count));
          std::copy(bytes.begin(), bytes.end(), model.begin() + static_cast<ptrdiff_t>(position));
          position += count;
          break;
        }
        default: {
          const int origin = static_cast<int>(below(3));
          const size_t bases[] = {0, position, model.size()};
          const int offset = static_cast<int>(count) * (below(2) == 0 ? 1 : -1);
          const auto target = static_cast<int64_t>(bases[origin]) + offset;
          if (target > 310000) break;
          ASSERT_EQ(file.Seek(offset, origin), target < 0 ? -1 : target) << "step " << step;
          if (target >= 0) position = static_cast<size_t>(target);
          break;
        }
      }
    }
    ASSERT_EQ(file.Close(), K_SUCCESS);
    ASSERT_EQ(FileBytes(path), model);
  }
}
INSTANTIATE_TEST_SUITE_P(Seeds, RandomSteps, testing::Range(1u, 9u));

TEST(RedirectedFile, PositionsAreThoseOfASigned32BitNumber) {
  const TemporaryFolder folder;
  const std::string path = folder.File("sparse", {});
  ASSERT_EQ(::truncate(path.c_str(), int64_t{3} << 30), 0);
  OpenFile file(path, K_OPEN_UPDATE);
  const int steps[][4] = {
      // clang-format off
      // offset, origin, result, position afterwards
      {-1, K_SEEK_START, -1, 0}, {100, K_SEEK_START, 100, 100}, {-101, K_SEEK_CURRENT, -1, 100},
      {0, K_SEEK_END, -1, 100}, {INT32_MIN, K_SEEK_END, 1 << 30, 1 << 30}, {0, 7, -1, 1 << 30},
      {INT32_MAX, K_SEEK_CURRENT, -1, 1 << 30}, {kLast, K_SEEK_START, kLast, kLast},
      {1, K_SEEK_CURRENT, -1, kLast}, {INT32_MIN, K_SEEK_CURRENT, -1, kLast},
      {-20, K_SEEK_CURRENT, kLast - 20, kLast - 20},
      // clang-format on
  };
  for (const auto& [offset, origin, result, after] : steps) {
    EXPECT_EQ(file.Seek(offset, origin), result) << offset << " from " << origin;
    EXPECT_EQ(file.Seek(0, K_SEEK_CURRENT), after) << offset << " from " << origin;
  }
  // Bytes past the last position are out of reach of reads and writes alike.
  EXPECT_EQ(file.Write(Pattern(21)), -1);
  EXPECT_EQ(file.Write(Pattern(20)), 20);
  EXPECT_EQ(file.Seek(-20, K_SEEK_CURRENT), kLast - 20);
  EXPECT_EQ(file.Read(100), Pattern(20));
  EXPECT_EQ(file.Seek(0, K_SEEK_CURRENT), kLast);
  EXPECT_EQ(file.Seek(kLast - 70000), kLast - 70000);
  EXPECT_EQ(file.Read(80000).size(), 70000u);
  EXPECT_EQ(file.Close(), K_SUCCESS);
}

TEST(RedirectedFile, OpenFlagsSayWhatBecomesOfTheFile) {
  struct Case {
    const char* name;
    int flags;
    int error;           // 0: opens
    const char* result;  // the file after three bytes were written
    int closed = K_SUCCESS;
  };
  const Case cases[] = {
      // clang-format off
      {"there", 0x0, 0, "content", K_ERROR_WRITE}, {"there", 0x2, 0, "newtent"},
      {"there", 0x42, 0, "newtent"}, {"there", 0x242, 0, "new"}, {"there", 0x202, 0, "new"},
      {"missing", 0x0, ENOENT, ""}, {"missing", 0x2, ENOENT, ""}, {"missing", 0x42, 0, "new"},
      {"missing", 0x242, 0, "new"}, {".", 0x0, EISDIR, ""}, {".", 0x2, EISDIR, ""},
      {"no/folder", 0x42, ENOENT, ""}, {"\xff \n\x01'\"", 0x42, 0, "new"},
      // clang-format on
  };
  const size_t before = K_OpenFiles();
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.name << " with " << c.flags);
    const TemporaryFolder folder;
    folder.File("there", {'c', 'o', 'n', 't', 'e', 'n', 't'});
    OpenFile file(folder / c.name, c.flags);
    const int error = file.handle == K_InvalidHandle() ? errno : 0;
    ASSERT_EQ(error, c.error);
    EXPECT_EQ(K_OpenFiles(), before + (error == 0 ? 1 : 0));
    if (error != 0) continue;
    file.Write({'n', 'e', 'w'});
    EXPECT_EQ(file.Close(), c.closed);
    EXPECT_EQ(K_OpenFiles(), before);
    const Bytes content = FileBytes(folder / c.name);
    EXPECT_EQ(std::string(content.begin(), content.end()), c.result);
  }
  EXPECT_EQ(K_RedirectedOpen(nullptr, 0, 0), K_InvalidHandle());
}

TEST(RedirectedFile, CreatedFilesAre0666LessTheUmaskWhateverTheMode) {
  for (const int mode : {0, 0x80, 0x100, 0x180}) {
    const TemporaryFolder folder;
    const mode_t former = ::umask(027);
    tagHANDLE* handle = K_RedirectedOpen((folder / "new").c_str(), kUpdateCreate, mode);
    ::umask(former);
    ASSERT_EQ(K_RedirectedClose(handle), K_SUCCESS);
    struct stat status;
    ASSERT_EQ(::stat((folder / "new").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640u) << "mode " << mode;
  }
}

// A disk that takes nothing: the first small write is only held, so somebody
// later must hear of it.
TEST(RedirectedFile, AFailedWriteBackIsReportedByTheNextCallAndByClose) {
  const std::function<int(OpenFile&)> calls[] = {
      [](OpenFile& file) { return file.Read(1).empty() ? -1 : 1; },
      [](OpenFile& file) { return file.Seek(100000) < 0 ? 1 : file.Write(Pattern(1)); },
      [](OpenFile& file) { return file.Write(Pattern(70000)) == 70000 ? 1 : -1; },
      [](OpenFile&) { return -1; },  // closed at once
  };
  for (const auto& call : calls) {
    OpenFile file("/dev/full", K_OPEN_UPDATE);
    ASSERT_EQ(file.Write(Pattern(10)), 10);
    EXPECT_EQ(call(file), -1);
    EXPECT_EQ(file.Close(), K_ERROR_WRITE);
  }
  OpenFile direct("/dev/full", K_OPEN_UPDATE);
  EXPECT_EQ(direct.Write(Pattern(kBuffer)), -1);
}

TEST(RedirectedFile, AWriteBackThatStoppedHalfWayIsTakenUpWhenThereIsRoomAgain) {
  const TemporaryFolder folder;
  rlimit former;
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &former), 0);
  const auto formerHandler = ::signal(SIGXFSZ, SIG_IGN);
  const rlimit small = {1000, former.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
  OpenFile file(folder / "new", kUpdateCreate);
  EXPECT_EQ(file.Write(Pattern(5000)), 5000);
  EXPECT_EQ(file.Seek(100000), 100000);
  EXPECT_EQ(file.Write(Pattern(70000)), -1);
  EXPECT_EQ(FileBytes(folder / "new").size(), 1000u);
  ::setrlimit(RLIMIT_FSIZE, &former);
  ::signal(SIGXFSZ, formerHandler);
  EXPECT_EQ(file.Close(), K_SUCCESS);
  EXPECT_EQ(FileBytes(folder / "new"), Pattern(5000));
}

}  // namespace
