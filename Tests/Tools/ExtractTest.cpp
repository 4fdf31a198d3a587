#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <map>
#include <memory>

#include "Tests/Support/FileBuilder.h"
#include "Tests/Support/InkProfiles.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Tools/Pixes.h"
#include "Tests/Tools/Program.h"

namespace {

using testing::HasSubstr;

TEST(Extract, EveryEndingAndFormatGivesItsKindOfFile) {
  const std::map<std::string, std::string> kinds = {
      {"png", "\x89PNG"},   {"tif", "II*"},  {"pbm", "P4"},      {"tiff", "II*"},
      {"jpeg", "\xFF\xD8"}, {"pgm", "P5"},   {"ppm", "P6"},      {"pnm", "P4"},
      {"jpg", "\xFF\xD8"},  {"pdf", "%PDF"}, {"raw", "\xFF\xFF"}};
  const TemporaryFolder folder;
  for (const auto& [kind, begin] : kinds) {
    SCOPED_TRACE(kind);
    const std::string out = folder / ("page." + kind), odd = folder / "page.odd";
    ASSERT_EQ(Kzica({"extract", Sample("letter-g4.ica"), out}).exit, 0);
    const Bytes bytes = FileBytes(out);
    EXPECT_TRUE(std::string(bytes.begin(), bytes.end()).starts_with(begin));
    // A format given goes before the ending, and standard output gets the same.
    ASSERT_EQ(Kzica({"extract", Sample("letter-g4.ica"), odd, "-f", kind}).exit, 0);
    EXPECT_EQ(FileBytes(odd), bytes);
    const Result streamed = Kzica({"extract", Sample("letter-g4.ica"), "-", "-f", kind});
    EXPECT_TRUE(Bytes(streamed.out.begin(), streamed.out.end()) == bytes);
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
    const PixPointer inTif = ReadPix(tif, page);
    EXPECT_TRUE(SamePicture(inTif.get(), expected.get()));
    EXPECT_EQ(pixGetInputFormat(inTif.get()), IFF_TIFF_G4);
    EXPECT_EQ(pixGetXRes(inTif.get()), page == 1 ? 200 : page == 2 ? 96 : 150);
    EXPECT_TRUE(SamePicture(ReadPix(backwards, 4 - page).get(), expected.get()));
    const std::string numbered = folder / ("00" + std::to_string(page) + "-100%.png");
    EXPECT_TRUE(SamePicture(ReadPix(numbered).get(), expected.get()));
    EXPECT_EQ(std::filesystem::exists(folder / ("some-" + std::to_string(page) + ".png")),
              page != 2);
  }
}

TEST(Extract, WhatCanBeReadIsSavedAndTheRestReported) {
  const TemporaryFolder folder;
  Bytes report = FileBytes(Sample("report-g4.mda"));
  report.erase(report.end() - 1000, report.end());
  const std::string cut = folder.File("cut.mda", report);
  const Result run = Kzica({"extract", cut, folder / "%d.png", "--all"});
  EXPECT_EQ(run.exit, 1);
  EXPECT_THAT(run.err, HasSubstr("cut.mda: picture 3: warning: rows 147 to 777"));
  EXPECT_THAT(run.err, HasSubstr("the file ends within the structured field at byte"));
  EXPECT_TRUE(SamePicture(ReadPix(folder / "2.png").get(), ReadPix(Sample("halftone.png")).get()));
  EXPECT_TRUE(std::filesystem::exists(folder / "3.png"));
  EXPECT_EQ(Kzica({"extract", cut, folder / "strict%d.png", "--all", "--strict"}).exit, 1);
  EXPECT_FALSE(std::filesystem::exists(folder / "strict3.png"));
  // One file holds what could be read; damage elsewhere is a warning.
  EXPECT_EQ(Kzica({"extract", cut, folder / "all.tif", "-p", "z-1", "--strict"}).exit, 1);
  EXPECT_TRUE(
      SamePicture(ReadPix(folder / "all.tif", 2).get(), ReadPix(Sample("letter.png")).get()));
  EXPECT_EQ(Kzica({"extract", cut, folder / "none.tif", "-p", "3", "--strict"}).exit, 1);
  EXPECT_FALSE(std::filesystem::exists(folder / "none.tif"));
  for (const char* option : {"--page", "--image"}) {
    const Result second = Kzica({"extract", cut, folder / "second.png", option, "2"});
    EXPECT_EQ(second.exit, 3);
    EXPECT_THAT(second.err, HasSubstr("cut.mda: warning: the file ends within"));
  }
}

TEST(Extract, InksLookAsTheProfileSays) {
  const TemporaryFolder folder;
  const Bytes structure = Parameter(0x9B, {0, 4, 0, 0, 0, 8, 8, 8, 8});
  // Cyan and paper.
  const std::string inks = folder.File(
      "inks.ica", Segment(ImageSize(2, 1) + Encoding(3) + Parameter(0x96, {32}) + structure,
                          {255, 0, 0, 0, 0, 0, 0, 0}));
  const std::string profile = folder.File("green.icc", GreenProfile());
  const std::string out = folder / "out.ppm";
  const auto pixels = [&] {
    const Bytes file = FileBytes(out);
    return Slice(file, file.size() < 6 ? 0 : file.size() - 6, 6);
  };
  ASSERT_EQ(Kzica({"extract", inks, out}).exit, 0);
  EXPECT_EQ(pixels(), Bytes({0, 255, 255, 255, 255, 255}));
  ASSERT_EQ(Kzica({"extract", inks, out, "--profile", profile}).exit, 0);
  const Bytes green = pixels();
  ASSERT_EQ(green.size(), 6u);
  EXPECT_GT(green[1], green[2] + 50);
  EXPECT_EQ(Slice(green, 3, 3), Bytes(3, 255));
  EXPECT_NE(Kzica({"extract", inks, out, "--profile", inks}).exit, 0);
}

TEST(Extract, ResourcesAreLookedForInAFolder) {
  const TemporaryFolder folder;
  const Bytes whole = FileBytes(KZ_SAMPLES "/foreign/pseg_included.afp");
  // The page segment, and the document after the resource group.
  std::filesystem::create_directory(folder / "resources");
  folder.File("resources/S1IMG.psg", Slice(whole, 38, 800));
  const std::string lacking = folder.File("document", Slice(whole, 864, whole.size()));
  EXPECT_EQ(Kzica({"extract", lacking, folder / "none.png", "-p", "2"}).exit, 1);
  EXPECT_FALSE(std::filesystem::exists(folder / "none.png"));
  for (const auto& [file, to] :
       {std::pair{lacking, "found.png"}, std::pair{folder.File("whole", whole), "own.png"}}) {
    const Result run =
        Kzica({"extract", file, folder / to, "-p", "2", "--resources", folder / "resources"});
    EXPECT_EQ(run.exit, 0) << run.err;
  }
  EXPECT_TRUE(FileBytes(folder / "found.png") == FileBytes(folder / "own.png"));
}

// The producer's folder has the resources in a library, a file of another name.
TEST(Extract, ResourcesAreLookedForInLibraries) {
  const TemporaryFolder folder;
  const std::string file = KZ_SAMPLES "/foreign/fop_extres.afp";
  folder.File("more.afp", FileBytes(KZ_SAMPLES "/foreign/extres.res.afp"));
  folder.File("damaged.res", Bytes(1000));
  const std::vector<std::string> from = {"--resources", folder / ""};
  const auto run = [&](std::vector<std::string> line) {
    line.insert(line.end(), from.begin(), from.end());
    return Kzica(line);
  };
  EXPECT_EQ(run({"extract", file, folder / "%d.png", "-p", "1"}).exit, 0);
  EXPECT_EQ(folder.Names(), (std::vector<std::string>{"1.png", "2.png", "3.png", "4.png", "5.png",
                                                      "damaged.res", "more.afp"}));
  EXPECT_EQ(run({"extract", folder / "more.afp", folder / "own.png", "-i", "3"}).exit, 0);
  EXPECT_TRUE(FileBytes(folder / "own.png") == FileBytes(folder / "3.png"));
  // What is found is neither missing nor warned of.
  EXPECT_EQ(Kzica({"check", file}).exit, 3);
  const Result check = run({"check", file});
  EXPECT_EQ(check.exit, 0);
  EXPECT_EQ(check.err, "");
  for (const char* page : {"z", ""}) {
    std::vector<std::string> line = {"info", file};
    if (*page != '\0') line.insert(line.end(), {"-p", page});
    const std::string info = run(line).out;
    EXPECT_THAT(info, HasSubstr("included      5 pictures of "));
    EXPECT_THAT(info, testing::Not(HasSubstr("missing")));
    line.emplace_back("--json");
    EXPECT_THAT(run(line).out, HasSubstr("/more.afp\",\"image\":5}]"));
  }
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
                ": picture 1: warning: damaged lines were replaced by the lines above them\n");
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
                           "extract FILE a.raw --image 1,2", "extract FILE a.png --all --image 1",
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

TEST(Create, ColoursStayAndDepthsAreChosen) {
  const TemporaryFolder folder;
  const PixPointer colour(pixCreate(40, 30, 32));
  for (l_uint32 y = 0; y < 30; ++y) {
    for (l_uint32 x = 0; x < 40; ++x) {
      pixSetRGBPixel(colour.get(), static_cast<l_int32>(x), static_cast<l_int32>(y),
                     static_cast<l_int32>(x * 6), static_cast<l_int32>(y * 8), 90);
    }
  }
  const std::string ppm = folder / "colour.ppm";
  const std::string png = folder / "grey.png";
  ASSERT_EQ(pixWrite(ppm.c_str(), colour.get(), IFF_PNM), 0);
  const PixPointer grey(pixConvertTo8(colour.get(), 0));
  ASSERT_EQ(pixWrite(png.c_str(), grey.get(), IFF_PNG), 0);
  const struct {
    const char* line;
    int format, bits;
    bool noted;
  } cases[] = {{"create FILE PPM", 377, 24, false},
               {"create FILE PNG", 377, 8, false},
               {"create FILE PPM -c abic", 190, 4, false},
               {"create FILE PNG -c g4", 73, 1, true},
               {"create FILE PNG -c g4 --dither", 73, 1, false}};
  for (const auto& c : cases) {
    const std::string file = folder / "file.mda";
    const Result run = Kzica(Words(c.line, {{"FILE", file}, {"PPM", ppm}, {"PNG", png}}));
    EXPECT_EQ(run.exit, 0) << run.err;
    EXPECT_EQ(!run.err.empty(), c.noted) << run.err;
    const std::string info = Kzica({"info", "--json", file}).out;
    EXPECT_THAT(info, HasSubstr("\"format\":" + std::to_string(c.format) + ","));
    EXPECT_THAT(info, HasSubstr("\"bitsPerPixel\":" + std::to_string(c.bits) + ","));
  }
  // The colours of a JPEG page are those of the picture but for what JPEG loses.
  ASSERT_EQ(Kzica({"create", folder / "c.mda", ppm, "-q", "100"}).exit, 0);
  ASSERT_EQ(Kzica({"extract", folder / "c.mda", folder / "c.png"}).exit, 0);
  l_float32 difference = 255;
  pixCompareRGB(ReadPix(folder / "c.png").get(), colour.get(), L_COMPARE_ABS_DIFF, 0, nullptr,
                &difference, nullptr, nullptr);
  EXPECT_LT(difference, 2);
  // A JPEG page's file is the stored data.
  for (const char* name : {"c.jpg", "c.raw"}) {
    ASSERT_EQ(Kzica({"extract", folder / "c.mda", folder / name}).exit, 0);
  }
  EXPECT_EQ(FileBytes(folder / "c.jpg"), FileBytes(folder / "c.raw"));
}

TEST(Create, AMissingCodecLibraryIsNamed) {
  const TemporaryFolder folder;
  const std::string file = folder / "abic.mda";
  ASSERT_EQ(Kzica({"create", file, Sample("odd.png"), "-c", "abic"}).exit, 0);
  // The kernel library looks beside itself: here it has the libraries but that one.
  const std::string libraries = folder / "lib";
  std::filesystem::create_directory(libraries);
  for (const auto& entry : std::filesystem::directory_iterator(KZ_BINARY_DIR "/lib")) {
    const std::string name = entry.path().filename();
    if (name != "KZABI.so") std::filesystem::copy(entry.path(), libraries + "/" + name);
  }
  const Conditions without = {.variables = {"LD_LIBRARY_PATH=" + libraries}};
  const Result extract = Kzica({"extract", file, folder / "out.png"}, without);
  EXPECT_EQ(extract.exit, 1);
  EXPECT_THAT(extract.err, testing::AllOf(HasSubstr("KZABI.so"), HasSubstr("(status -823)")));
  const Result create = Kzica({"create", file, Sample("odd.png"), "-c", "abic"}, without);
  EXPECT_EQ(create.exit, 1);
  EXPECT_THAT(create.err, testing::AllOf(HasSubstr("KZABI.so"), HasSubstr("(status -822)")));
}

}  // namespace
