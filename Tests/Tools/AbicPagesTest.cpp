// ABIC pages that don't fit: what the commands say of them, and what becomes of pages with
// another codec library.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "Tests/Support/FileBuilder.h"
#include "Tests/Tools/Program.h"

namespace {

using testing::HasSubstr;

// The image data of the only page of a file.
Bytes DataOf(const std::string& file, const TemporaryFolder& folder) {
  const std::string raw = folder / "data.raw";
  EXPECT_EQ(Kzica({"extract", file, raw}).exit, 0);
  Bytes data = FileBytes(raw);
  std::filesystem::remove(raw);
  return data;
}

TEST(AbicPages, ThatDontFitAreReportedByEveryCommandThatDecodes) {
  const TemporaryFolder folder;
  const std::string sound = folder / "sound.ica";
  ASSERT_EQ(Kzica({"create", sound, Sample("odd.png"), "-c", "abic", "--bits", "1", "--container",
                   "ioca"})
                .exit,
            0);
  const Bytes file = FileBytes(sound);
  const Bytes data = DataOf(sound, folder);
  const auto at = std::search(file.begin(), file.end(), data.begin(), data.end());
  ASSERT_NE(at, file.end());
  ASSERT_GT(data.size(), 20u);
  // With other data in the place of these.
  const auto with = [&](const std::string& name, const Bytes& other) {
    const size_t before = static_cast<size_t>(at - file.begin()) - 4;
    return folder.File(name, Slice(file, 0, before) + ImageData(other) +
                                 Slice(file, before + 4 + data.size(), file.size()));
  };
  Bytes longer = data;
  for (int i = 0; i < 60; ++i) longer.push_back(static_cast<unsigned char>(37 * i + 11));
  const struct {
    std::string file;
    const char* words;
    int checked;
    const char* verdict;
  } cases[] = {
      {with("short.ica", Slice(data, 0, data.size() / 2)), "the ABIC data end ", 1, "damaged"},
      {with("long.ica", longer), " bytes of ABIC data are left over", 3, "sound but for 1 warning"},
  };
  EXPECT_EQ(Kzica({"check", sound}).exit, 0);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    const Result check = Kzica({"check", c.file});
    EXPECT_EQ(check.exit, c.checked);
    EXPECT_THAT(check.err, HasSubstr(c.words));
    EXPECT_THAT(check.out, HasSubstr(c.verdict));
    for (const char* line : {"extract FILE OUT.png", "render FILE OUT.png", "render FILE OUT.pdf",
                             "convert FILE --to OUT -f png"}) {
      SCOPED_TRACE(line);
      const Result run = Kzica(Words(line, {{"FILE", c.file}, {"OUT", folder / "out"}}));
      EXPECT_EQ(run.exit, 3) << run.out << run.err;
      EXPECT_THAT(run.err, HasSubstr(c.words));
    }
    const Result strict = Kzica({"extract", "--strict", c.file, folder / "strict.png"});
    EXPECT_EQ(strict.exit, 1);
    EXPECT_FALSE(std::filesystem::exists(folder / "strict.png"));
  }
}

TEST(AbicPages, AreReadByAnotherCodecLibrary) {
  const TemporaryFolder folder;
  const std::string libraries = folder / "lib";
  std::filesystem::create_directory(libraries);
  for (const auto& entry : std::filesystem::directory_iterator(KZ_BINARY_DIR "/lib")) {
    const std::string name = entry.path().filename();
    if (name != "KZABI.so") std::filesystem::copy(entry.path(), libraries + "/" + name);
  }
  std::filesystem::copy(KZ_STUB_CODEC, libraries + "/KZABI.so");
  const Conditions other = {.variables = {"LD_LIBRARY_PATH=" + libraries}};
  const auto extract = [&](unsigned height, unsigned char bits, const Bytes& data, int exit) {
    const unsigned char compression = bits == 1 ? 0x08 : 0x0A;
    const std::string file = folder.File(
        "image.ica",
        Segment(ImageSize(2, height) + Encoding(compression) + Parameter(0x96, {bits}), data));
    const std::string out = folder / "out.pgm";
    std::filesystem::remove(out);
    const Result run = Kzica({"extract", file, out}, other);
    EXPECT_EQ(run.exit, exit) << run.err;
    return std::filesystem::exists(out) ? FileBytes(out) : Bytes{};
  };
  const auto end = [](const Bytes& bytes, size_t count) {
    return Slice(bytes, bytes.size() - std::min(bytes.size(), count), count);
  };
  // The library fills rows with these bytes. Pixels 1 and 2 of row 1 get the first bits of the
  // odd ones, from the top bit on; row 2 those of the even ones.
  Bytes rows = {'p'};
  for (const int byte : {0x80, 0x40, 0, 0x40, 0x80, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0x80, 0x40}) {
    rows.push_back(static_cast<unsigned char>(byte));
  }
  EXPECT_EQ(end(extract(2, 8, rows, 0), 4), (Bytes{0xA1, 0x00, 0x08, 0xC9}));
  EXPECT_EQ(end(extract(2, 4, {'p', 0x5A, 0xF0}, 0), 4), (Bytes{0x55, 0xAA, 0xFF, 0x00}));
  // Blocks that are too short, or not there.
  for (const unsigned char bits : Bytes{1, 4, 8}) {
    extract(3, bits, {'s', 0}, 1);
    extract(3, bits, {'n', 0}, 1);
    extract(3, bits, {'f', 0}, 1);
  }
}

}  // namespace
