#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "Tests/Command/PictureFiles.h"
#include "Tests/Command/Program.h"
#include "Tests/Filter/FileBuilder.h"
#include "Tests/Kernel/TemporaryFolder.h"

namespace {

using testing::HasSubstr;

TEST(Extract, EveryEndingAndFormatGivesItsKindOfFile) {
  const struct {
    const char* name;
    std::string begin;
  } kinds[] = {{"png", "\x89PNG"},
               {"tif", "II*"},
               {"pbm", "P4"},
               {"tiff", "II*"},
               {"jpeg", "\xFF\xD8"},
               {"pgm", "P5"},
               {"ppm", "P6"},
               {"pnm", "P4"},
               {"jpg", "\xFF\xD8"},
               {"pdf", "%PDF"},
               {"raw", "\xFF\xFF\xFF\xFF"}};
  const TemporaryFolder folder;
  for (const auto& kind : kinds) {
    const std::string out = folder / (std::string("page.") + kind.name);
    ASSERT_EQ(Kzica({"extract", Sample("letter-g4.ica"), out}).exit, 0) << kind.name;
    const Bytes bytes = FileBytes(out);
    const std::string content(bytes.begin(), bytes.end());
    EXPECT_TRUE(content.starts_with(kind.begin)) << kind.name;

    // A format given goes before the ending, and standard output gets the same.
    const std::string odd = folder / "page.odd";
    ASSERT_EQ(Kzica({"extract", Sample("letter-g4.ica"), odd, "-f", kind.name}).exit, 0);
    EXPECT_EQ(FileBytes(odd), bytes) << kind.name;
    const Result streamed = Kzica({"extract", Sample("letter-g4.ica"), "-", "-f", kind.name});
    EXPECT_EQ(streamed.exit, 0);
    EXPECT_TRUE(streamed.out == content) << kind.name;
  }
}

TEST(Extract, SeveralPagesGoIntoOneFileOrIntoNumberedOnes) {
  const TemporaryFolder folder;
  const std::string tif = folder / "all.tif";
  ASSERT_EQ(Kzica({"extract", Sample("report-g4.mda"), tif, "--all"}).exit, 0);
  const std::string backwards = folder / "backwards.tif";
  ASSERT_EQ(Kzica({"extract", Sample("report-g4.mda"), backwards, "-p", "z-1"}).exit, 0);
  ASSERT_EQ(Kzica({"extract", Sample("report-g4.mda"), folder / "%03d-100%.png", "-a"}).exit, 0);
  ASSERT_EQ(Kzica({"extract", Sample("report-g4.mda"), folder / "some-%d.png", "-p", "3,1"}).exit,
            0);
  // Once, where no letter follows; everything else is a name.
  const std::pair<const char*, const char*> names[] = {{"100%done.png", "100%done.png"},
                                                       {"100%%d.png", "100%d.png"},
                                                       {"%%-%d-%d.png", "%-2-%d.png"},
                                                       {"%s%5%.png", "%s%5%.png"},
                                                       {"%3d_.png", "  2_.png"}};
  for (const auto& [name, written] : names) {
    const TemporaryFolder alone;
    ASSERT_EQ(Kzica({"extract", Sample("report-g4.mda"), alone / name, "-p", "2"}).exit, 0);
    EXPECT_EQ(alone.Names(), std::vector<std::string>{written});
  }
  const char* pictures[] = {"letter.png", "halftone.png", "odd.png"};
  for (int page = 1; page <= 3; ++page) {
    const PixPointer expected = ReadPix(Sample(pictures[page - 1]));
    const PixPointer inTif = ReadTiffPage(tif, page);
    EXPECT_TRUE(SamePicture(inTif.get(), expected.get()));
    EXPECT_EQ(pixGetInputFormat(inTif.get()), IFF_TIFF_G4);
    EXPECT_EQ(pixGetXRes(inTif.get()), page == 1 ? 200 : page == 2 ? 96 : 150);
    EXPECT_TRUE(SamePicture(ReadTiffPage(backwards, 4 - page).get(), expected.get()));
    const std::string numbered = folder / ("00" + std::to_string(page) + "-100%.png");
    EXPECT_TRUE(SamePicture(ReadPix(numbered).get(), expected.get()));
    EXPECT_EQ(std::filesystem::exists(folder / ("some-" + std::to_string(page) + ".png")),
              page != 2);
  }
}

TEST(Extract, DamagedFilesAndMissingPagesGiveOneLineAndNoFile) {
  const struct {
    const char* file;
    const char* page;
    const char* message;
  } cases[] = {
      {"damaged-truncated.mda", "1", "page 1: the data end too early (status -7)"},
      {"damaged-length.mda", "1",
       "page 1: there is no valid structured field at byte 64 (status -9)"},
      {"report-g4.mda", "4", "page 4: there is no such page, the last is page 3 (status -9)"},
      {"report-g4.mda", "2-4", "there is no page 4, the last is page 3 (status -9)"},
  };
  const TemporaryFolder folder;
  for (const auto& wrong : cases) {
    for (const char* name : {"out.tif", "out.raw"}) {
      if (wrong.page == std::string("2-4") && std::string(name) == "out.raw") continue;
      const Result run = Kzica({"extract", Sample(wrong.file), folder / name, "-p", wrong.page});
      EXPECT_EQ(run.exit, 1) << wrong.file;
      EXPECT_EQ(run.err, "kzica: " + Sample(wrong.file) + ": " + wrong.message + "\n");
    }
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder / ""));
}

TEST(Extract, PagesBeforeTheDamageAreSavedAndTheDamageIsReported) {
  const TemporaryFolder folder;
  Bytes report = FileBytes(Sample("report-g4.mda"));
  report.resize(report.size() - 1000);
  const std::string cut = folder.File("cut.mda", report);
  const Result run = Kzica({"extract", cut, folder / "%d.png", "--all"});
  EXPECT_EQ(run.exit, 1);
  EXPECT_THAT(run.err, HasSubstr("page 3: the data end too early (status -7)"));
  EXPECT_THAT(run.err, HasSubstr("the file ends within the structured field at byte"));
  EXPECT_TRUE(SamePicture(ReadPix(folder / "2.png").get(), ReadPix(Sample("halftone.png")).get()));
  EXPECT_FALSE(std::filesystem::exists(folder / "3.png"));
}

TEST(Extract, ABottomUpJpegPageIsTheSamePictureInEveryFormat) {
  const TemporaryFolder folder;
  for (const int height : {48, 45}) {
    SCOPED_TRACE(height);
    // A picture whose rows tell their place.
    const PixPointer pix(pixCreate(32, height, 8));
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < 32; ++x) pixSetPixel(pix.get(), x, y, static_cast<l_uint32>(5 * y));
    }
    pixWriteJpeg((folder / "rows.jpg").c_str(), pix.get(), 95, 0);
    const Bytes segment = Segment(
        ImageSize(32, static_cast<unsigned>(height)) + Encoding(0x83, 3) + Parameter(0x96, {8}),
        FileBytes(folder / "rows.jpg"));
    const std::string page = folder.File("page.ica", segment);
    for (const char* name : {"page.jpg", "page.png"}) {
      const Result run = Kzica({"extract", page, folder / name});
      EXPECT_EQ(run.exit, 0) << run.err;
      const bool again = height == 45 && std::string(name) == "page.jpg";
      EXPECT_THAT(run.err, HasSubstr(again ? "its JPEG data are coded again" : ""));
      EXPECT_EQ(run.err.empty(), !again);
      const PixPointer shown = ReadPix(folder / name);
      ASSERT_EQ(pixGetHeight(shown.get()), height);
      for (int y = 0; y < height; ++y) {
        l_uint32 value = 0;
        pixGetPixel(shown.get(), 7, y, &value);
        EXPECT_NEAR(value, 5 * (height - 1 - y), 6) << y;
      }
    }
  }
}

TEST(Extract, ColourGoesToAPbmWhenItIsAskedToBeDithered) {
  const TemporaryFolder folder;
  const PixPointer pix(pixCreate(64, 64, 8));
  pixSetAllGray(pix.get(), 64);
  pixWriteJpeg((folder / "dark.jpg").c_str(), pix.get(), 95, 0);
  const std::string page =
      folder.File("page.ica", Segment(ImageSize(64, 64) + Encoding(0x83) + Parameter(0x96, {8}),
                                      FileBytes(folder / "dark.jpg")));
  const Result refused = Kzica({"extract", page, folder / "dark.pbm"});
  EXPECT_EQ(refused.exit, 1);
  EXPECT_THAT(refused.err, HasSubstr("a pbm holds 1 bit per pixel, the picture has 8; --dither"));
  EXPECT_FALSE(std::filesystem::exists(folder / "dark.pbm"));
  for (const char* name : {"dark.pbm", "dark.png"}) {
    ASSERT_EQ(Kzica({"extract", page, folder / name, "--dither"}).exit, 0);
    const PixPointer shown = ReadPix(folder / name);
    ASSERT_EQ(pixGetDepth(shown.get()), 1);
    l_int32 black = 0;
    pixCountPixels(shown.get(), &black, nullptr);
    EXPECT_NEAR(black, 64 * 64 * 3 / 4, 64);
  }
}

TEST(Extract, DamageThatAPictureShowsIsAWarningAndStatusThree) {
  const TemporaryFolder folder;
  ASSERT_EQ(
      Kzica({"create", folder / "g3.ica", Sample("letter.png"), "-c", "g3", "--container", "ioca"})
          .exit,
      0);
  Bytes page = FileBytes(folder / "g3.ica");
  for (size_t i = 0; i < 3; ++i) page[page.size() / 2 + i] ^= 0x55;
  const Result run = Kzica({"extract", folder.File("bad.ica", page), folder / "page.png"});
  EXPECT_EQ(run.exit, 3);
  EXPECT_EQ(run.err,
            "kzica: " + folder / "bad.ica" +
                ": page 1: warning: damaged lines were replaced by the lines above them\n");
  EXPECT_TRUE(std::filesystem::exists(folder / "page.png"));
  // What is taken in is judged likewise; a failure weighs more.
  const std::string spare =
      folder.File("spare.pgm", Bytes{'P', '5', ' ', '1', ' ', '1', ' ', '9', '\n', 'a', 'b'});
  EXPECT_EQ(Kzica({"create", folder / "new.mda", spare}).exit, 3);
  EXPECT_TRUE(std::filesystem::exists(folder / "new.mda"));
  EXPECT_EQ(Kzica({"create", folder / "more.mda", spare, folder / "missing"}).exit, 1);
}

TEST(Extract, WrongUsageEndsWithTwo) {
  for (const char* line : {"", "extrakt FILE a.png", "extract", "extract FILE",
                           "extract FILE a.xyz", "extract FILE noending", "extract FILE -",
                           "extract FILE a.png --all", "extract FILE a.raw --page 1,2",
                           "extract FILE - -f png --all", "extract FILE a.png --all --page 1",
                           "extract FILE a.png --page 0", "extract FILE a.png --page 2-",
                           "extract FILE a.png -f gif", "extract FILE a.png --max-pixels -1",
                           "extract FILE a.png --nonsense", "extract FILE FILE -f png"}) {
    const Result run = Kzica(Words(line, {{"FILE", Sample("report-g4.mda")}}));
    EXPECT_EQ(run.exit, 2) << line;
    EXPECT_TRUE(run.err.starts_with("kzica: ")) << run.err;
    EXPECT_THAT(run.err, HasSubstr("--help"));
    EXPECT_EQ(run.out, "");
  }
}

TEST(Extract, NobodyReadingIsNoErrorMessage) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  for (const char* format : {"pdf", "raw"}) {
    const Result run = Kzica({"extract", Sample("letter-g4.ica"), "-", "-f", format},
                             {.outputDescriptor = ends[1]});
    EXPECT_EQ(run.signal, SIGPIPE);
    EXPECT_EQ(run.err, "");
  }
  close(ends[1]);
}

}  // namespace
