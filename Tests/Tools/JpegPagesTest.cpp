// Pages made of jpg files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <leptonica/allheaders.h>

#include "Tests/Support/FileBuilder.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Support/WrittenFile.h"
#include "Tests/Tools/Pixes.h"
#include "Tests/Tools/Program.h"

namespace {

using testing::HasSubstr;

enum Kind { kGray, kColor };

// A jpg file of 120 x 80 pixels at 150 dpi.
Bytes JpegFile(const TemporaryFolder& folder, Kind kind, bool progressive) {
  const PixPointer pix(pixCreate(120, 80, kind == kGray ? 8 : 32));
  for (int y = 0; y < 80; ++y) {
    for (int x = 0; x < 120; ++x) {
      l_uint32 color = static_cast<l_uint32>(2 * x);
      if (kind == kColor) composeRGBPixel(2 * x, 3 * y, x + y, &color);
      pixSetPixel(pix.get(), x, y, color);
    }
  }
  pixSetResolution(pix.get(), 150, 150);
  const std::string file = folder / "made.jpg";
  EXPECT_EQ(pixWriteJpeg(file.c_str(), pix.get(), 80, progressive ? 1 : 0), 0);
  return FileBytes(file);
}

// The same with Exif data in the place of its JFIF segment: an orientation, and 300 x 200
// dots per inch.
Bytes WithExif(const Bytes& jpeg, unsigned char orientation) {
  const size_t jfif = 2u + 2u + jpeg[4] * 256u + jpeg[5];
  const Bytes exif = Hex("457869660000 4D4D002A 00000008 0003 0112 0003 00000001 00") +
                     Bytes{orientation} +
                     Hex("0000 011A 0005 00000001 00000032 011B 0005 00000001 0000003A 00000000"
                         "0000012C 00000001 000000C8 00000001");
  return Hex("FFD8 FFE1 00") + Bytes{static_cast<unsigned char>(exif.size() + 2)} + exif +
         Slice(jpeg, jfif, jpeg.size());
}

TEST(JpegPages, HaveTheDataOfTheirFiles) {
  const TemporaryFolder folder;
  const std::string document = folder / "document", back = folder / "back.jpg";
  for (const Kind kind : {kGray, kColor}) {
    for (const bool progressive : {false, true}) {
      const Bytes jpeg = JpegFile(folder, kind, progressive);
      const std::string file = folder.File("in.jpg", jpeg);
      for (const std::string container : {"modca", "afp", "ioca"}) {
        const Result run = Kzica({"create", document, file, "--container", container});
        ASSERT_EQ(run.exit, 0) << run.err;
        EXPECT_EQ(run.err, "");
        ASSERT_EQ(Kzica({"extract", document, back}).exit, 0);
        EXPECT_TRUE(FileBytes(back) == jpeg) << kind << progressive << container;
        EXPECT_THAT(Kzica({"info", "--json", document}).out,
                    HasSubstr("\"xResolution\":150,\"yResolution\":150,"));
      }
      // The other commands that make pages do the same.
      for (const std::vector<std::string>& edit :
           {std::vector<std::string>{"append", document, file},
            {"insert", document, file, "--after", "1"},
            {"replace", document, file, "--page", "1"}}) {
        ASSERT_EQ(Kzica({"create", document, Sample("odd.png"), Sample("odd.png")}).exit, 0);
        ASSERT_EQ(Kzica(edit).exit, 0);
        const std::string page = edit[0] == "append" ? "3" : edit[0] == "insert" ? "2" : "1";
        ASSERT_EQ(Kzica({"extract", document, back, "--page", page}).exit, 0);
        EXPECT_TRUE(FileBytes(back) == jpeg) << edit[0];
      }
      for (const std::vector<std::string>& options :
           {std::vector<std::string>{"--recode"}, {"--function-set", "10"}, {"-c", "jpeg-420"}}) {
        std::vector<std::string> line = {"create", document, file};
        line.insert(line.end(), options.begin(), options.end());
        ASSERT_EQ(Kzica(line).exit, 0);
        ASSERT_EQ(Kzica({"extract", document, back}).exit, 0);
        EXPECT_FALSE(FileBytes(back) == jpeg) << options[0];
      }
    }
  }
}

TEST(JpegPages, AreCodedAnewWhereOthersWouldShowThemOtherwise) {
  const TemporaryFolder folder;
  const std::string document = folder / "document", back = folder / "back.jpg";
  const Bytes jpeg = JpegFile(folder, kColor, false);
  const std::string upright = folder.File("upright.jpg", WithExif(jpeg, 1));
  const std::string turned = folder.File("turned.jpg", WithExif(jpeg, 6));
  const struct {
    std::string file;
    const char* words;  // null: stored as it is
    const char* shape;
  } cases[] = {
      {upright, nullptr,
       "\"width\":120,\"height\":80,\"bitsPerPixel\":24,\"xResolution\":300,\"yResolution\":200,"},
      {turned, "coded anew: their picture had to be turned",
       "\"width\":80,\"height\":120,\"bitsPerPixel\":24,\"xResolution\":200,\"yResolution\":300,"},
      {KZ_SOURCE_DIR "/scripts/fop/inks.jpg", "coded anew: they are of four inks",
       "\"width\":160,\"height\":120,\"bitsPerPixel\":24,"},
  };
  for (const auto& c : cases) {
    const Result run = Kzica({"create", document, c.file});
    EXPECT_EQ(run.exit, 0);
    EXPECT_EQ(run.err.empty(), c.words == nullptr) << run.err;
    EXPECT_THAT(run.err, HasSubstr(c.words != nullptr ? c.words : ""));
    EXPECT_THAT(Kzica({"info", "--json", document}).out, HasSubstr(c.shape));
    ASSERT_EQ(Kzica({"extract", document, back}).exit, 0);
    EXPECT_EQ(FileBytes(back) == FileBytes(c.file), c.words == nullptr);
  }
  // What isn't stored as JPEG data has nothing to be said of.
  EXPECT_EQ(Kzica({"create", document, turned, "-c", "none"}).err, "");
}

}  // namespace
