#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "Host/Toolkit/Document.h"
#include "Tests/Command/PictureFiles.h"
#include "Tests/Command/Program.h"
#include "Tests/Kernel/TemporaryFolder.h"

namespace {

using testing::HasSubstr;

class Edit : public testing::Test {
 protected:
  kz::PageInfo Describe(const std::string& file, int page = 1) {
    kz::PageInfo info;
    const kz::Outcome outcome = kz::DescribePage(file, page, true, info);
    EXPECT_TRUE(outcome.Ok() && info.structure.Ok()) << outcome.what << info.structure.what;
    return info;
  }

  TemporaryFolder m_folder;
};

TEST_F(Edit, CreateWritesEveryCompressionIntoEveryContainer) {
  const struct {
    const char* compression;
    int formats[3];  // modca, afp, ioca; 0: refused
  } cases[] = {{"g3", {71, 309, 77}},    {"g3-2d", {72, 310, 78}},  {"g4", {73, 311, 79}},
               {"mmr", {117, 313, 118}}, {"abic", {190, 191, 184}}, {"none", {253, 312, 254}},
               {"jpeg", {377, 0, 0}},    {"jpeg-420", {377, 0, 0}}, {"jpeg-422", {377, 0, 0}}};
  const char* containers[] = {"modca", "afp", "ioca"};
  const PixPointer odd = ReadPix(Sample("odd.png"));
  for (const auto& c : cases) {
    for (int i = 0; i < 3; ++i) {
      SCOPED_TRACE(std::string(c.compression) + " " + containers[i]);
      const std::string file = m_folder / "file";
      std::filesystem::remove(file);
      const Result run = Kzica({"create", file, Sample("odd.png"), "-c", c.compression,
                                "--container", containers[i], "--dpi", "150x100"});
      if (c.formats[i] == 0) {
        EXPECT_EQ(run.exit, 1);
        EXPECT_THAT(run.err, HasSubstr("(status -16)"));
        EXPECT_FALSE(std::filesystem::exists(file));
        continue;
      }
      ASSERT_EQ(run.exit, 0) << run.err;
      const kz::PageInfo info = Describe(file);
      EXPECT_EQ(info.format, static_cast<uint32_t>(c.formats[i]));
      EXPECT_EQ(info.xResolution, 150);
      EXPECT_EQ(info.yResolution, 100);
      const std::string out = m_folder / "out.png";
      ASSERT_EQ(Kzica({"extract", file, out}).exit, 0);
      const PixPointer page = ReadPix(out);
      EXPECT_EQ(pixGetXRes(page.get()), 150);
      EXPECT_EQ(pixGetYRes(page.get()), 100);
      if (info.coding != Coding::Jpeg) {
        EXPECT_TRUE(SamePicture(page.get(), odd.get()));
        continue;
      }
      // A JPEG page's file is the stored data, which decode to the page's pixels.
      const std::string jpeg = m_folder / "out.jpg", raw = m_folder / "out.raw";
      ASSERT_EQ(Kzica({"extract", file, jpeg}).exit + Kzica({"extract", file, raw}).exit, 0);
      EXPECT_EQ(FileBytes(jpeg), FileBytes(raw));
      EXPECT_TRUE(SamePicture(page.get(), ReadPix(jpeg).get()));
    }
  }
}

TEST_F(Edit, ColoursStayAndDepthsAreChosen) {
  const PixPointer colour(pixCreate(40, 30, 32));
  for (l_uint32 y = 0; y < 30; ++y) {
    for (l_uint32 x = 0; x < 40; ++x) {
      pixSetRGBPixel(colour.get(), static_cast<l_int32>(x), static_cast<l_int32>(y),
                     static_cast<l_int32>(x * 6), static_cast<l_int32>(y * 8), 90);
    }
  }
  const std::string ppm = m_folder / "colour.ppm";
  const std::string png = m_folder / "grey.png";
  ASSERT_EQ(pixWrite(ppm.c_str(), colour.get(), IFF_PNM), 0);
  const PixPointer grey(pixConvertTo8(colour.get(), 0));
  ASSERT_EQ(pixWrite(png.c_str(), grey.get(), IFF_PNG), 0);
  const struct {
    std::vector<std::string> arguments;
    int bitsPerPixel;
    uint32_t format;
    bool noted;
  } cases[] = {
      {{ppm}, 24, 377, false},
      {{png}, 8, 377, false},
      {{ppm, "-c", "abic"}, 4, 190, false},
      {{ppm, "-c", "abic", "--bits", "1"}, 1, 190, false},
      {{ppm, "--bits", "8"}, 8, 377, false},
      {{png, "-c", "g4"}, 1, 73, true},
      {{png, "-c", "g4", "--dither"}, 1, 73, false},
      {{png, "-c", "none"}, 1, 253, true},
  };
  for (const auto& c : cases) {
    const std::string file = m_folder / "file.mda";
    std::vector<std::string> arguments = {"create", file};
    arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());
    const Result run = Kzica(arguments);
    EXPECT_EQ(run.exit, 0) << run.err;
    EXPECT_EQ(!run.err.empty(), c.noted) << run.err;
    EXPECT_EQ(Describe(file).bitsPerPixel, c.bitsPerPixel);
    EXPECT_EQ(Describe(file).format, c.format);
  }
  // The colours of a JPEG page are those of the picture but for what JPEG loses.
  ASSERT_EQ(Kzica({"create", m_folder / "c.mda", ppm, "-q", "100"}).exit, 0);
  ASSERT_EQ(Kzica({"extract", m_folder / "c.mda", m_folder / "c.png"}).exit, 0);
  l_float32 difference = 255;
  pixCompareRGB(ReadPix(m_folder / "c.png").get(), colour.get(), L_COMPARE_ABS_DIFF, 0, nullptr,
                &difference, nullptr, nullptr);
  EXPECT_LT(difference, 2);
}

TEST_F(Edit, AMissingCodecLibraryIsNamed) {
  const std::string file = m_folder / "abic.mda";
  ASSERT_EQ(Kzica({"create", file, Sample("odd.png"), "-c", "abic"}).exit, 0);
  // The kernel library looks beside itself: here it has the libraries but that one.
  const std::string libraries = m_folder / "lib";
  std::filesystem::create_directory(libraries);
  for (const auto& entry : std::filesystem::directory_iterator(KZ_BINARY_DIR "/lib")) {
    const std::string name = entry.path().filename();
    if (name != "KZABI.so") std::filesystem::copy(entry.path(), libraries + "/" + name);
  }
  const Conditions without = {.variables = {"LD_LIBRARY_PATH=" + libraries}};
  const Result extract = Kzica({"extract", file, m_folder / "out.png"}, without);
  EXPECT_EQ(extract.exit, 1);
  EXPECT_THAT(extract.err, testing::AllOf(HasSubstr("KZABI.so"), HasSubstr("(status -823)")));
  const Result create = Kzica({"create", file, Sample("odd.png"), "-c", "abic"}, without);
  EXPECT_EQ(create.exit, 1);
  EXPECT_THAT(create.err, testing::AllOf(HasSubstr("KZABI.so"), HasSubstr("(status -822)")));
}

}  // namespace
