// ABIC pages are loaded and saved with every kind of codec library, and with none.
#include <gtest/gtest.h>

#include <cstdio>

#include "Tests/Support/FileBuilder.h"

namespace {

namespace fs = std::filesystem;

std::string Probe(const std::string& libraryPath, const std::string& file, int depth, int longer) {
  const std::string command = "LD_LIBRARY_PATH='" + libraryPath + "' '" KZ_PROBE "' '" + file +
                              "' " + std::to_string(depth) + " " + std::to_string(longer);
  FILE* out = ::popen(command.c_str(), "r");
  if (out == nullptr) return "not started";
  char text[200] = {};
  const size_t n = std::fread(text, 1, sizeof text - 1, out);
  return ::pclose(out) == 0 ? std::string(text, n) : "failed";
}

TEST(Codec, IsFoundBesideTheKernelThenOnTheLoadersPath) {
  const TemporaryFolder folder;
  for (const std::string name : {"none", "stub", "path", "broken", "other", "real"}) {
    fs::create_directory(folder / name);
    if (name != "path") fs::copy_file(KZ_KERNEL, folder / (name + "/libkvkrn.so.19"));
  }
  fs::copy_file(KZ_STUB_CODEC, folder / "stub/KZABI.so");
  fs::copy_file(KZ_STUB_CODEC, folder / "path/KZABI.so");
  fs::copy_file(KZ_CODEC, folder / "real/KZABI.so");
  fs::copy_file(KZ_KERNEL, folder / "other/KZABI.so");  // a library without the decoder
  folder.File("broken/KZABI.so", Pattern(5000));
  const auto file = [&](const std::string& data) {
    return folder.File(data,
                       Segment(ImageSize(20, 3) + Encoding(0x08), Bytes(data.begin(), data.end())));
  };
  struct Case {
    const char* folders;
    const char* data;
    int depth;
    const char* result;
    int longer = 1;  // rows of the target than the codec's
  };
  const Case cases[] = {
      {"none", "good", 1, "-823 -822 0 0 0 0"},
      {"broken", "good", 1, "-823 -822 0 0 0 0"},
      {"other", "good", 4, "-823 -822 0 0 0 0"},
      {"stub", "good", 1, "1 -822 3 0 0 0"},
      {"stub", "good", 4, "1 -822 3 0 0 0"},
      {"stub", "no block", 1, "-9 -822 0 0 0 0"},
      {"stub", "short block", 1, "-9 -822 0 0 0 0"},
      {"stub", "long block", 1, "1 -822 3 0 0 0", 2},
      {"stub", "long block", 4, "-9 -822 0 0 0 0", 3},
      {"stub", "good", 4, "-9 -822 0 0 0 0", 2},
      {"stub", "fails with a block", 1, "-55 -822 0 0 0 0"},
      {"path", "no block", 4, "-9 -822 0 0 0 0"},
      {"real", "fails with a block", 1, "1 1 3 0 0 0"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.folders << ", " << c.data << ", " << c.depth);
    EXPECT_EQ(Probe(c.folders == std::string("path") ? folder / "none" + ":" + (folder / "path")
                                                     : folder / c.folders,
                    file(c.data), c.depth, c.longer),
              c.result);
  }
}

}  // namespace
