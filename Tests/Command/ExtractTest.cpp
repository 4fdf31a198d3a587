#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

#include "Tests/Command/PictureFiles.h"
#include "Tests/Command/Program.h"
#include "Tests/Kernel/TemporaryFolder.h"

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

size_t Lines(const std::string& text) {
  return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

TEST(Extract, EveryPageOfTheSamplesIsItsPicture) {
  const struct {
    const char* file;
    std::vector<std::pair<const char*, std::pair<int, int>>> pages;  // picture and resolution
  } samples[] = {
      {"letter-g4.ica", {{"letter", {200, 200}}}},
      {"report-mixed.afp",
       {{"letter", {200, 200}},
        {"letter", {200, 200}},
        {"odd", {150, 100}},
        {"odd", {150, 100}},
        {"odd", {150, 100}},
        {"halftone", {96, 96}}}},
      {"formatter.afp", {{"letter", {200, 200}}, {"odd", {200, 200}}}},
  };
  const TemporaryFolder folder;
  for (const auto& sample : samples) {
    for (size_t page = 1; page <= sample.pages.size(); ++page) {
      SCOPED_TRACE(testing::Message() << sample.file << " page " << page);
      const auto& [picture, resolution] = sample.pages[page - 1];
      const PixPointer expected = ReadPix(Sample(std::string(picture) + ".png"));
      for (const char* ending : {"png", "tif", "pbm"}) {
        const std::string out = folder / (std::string("page.") + ending);
        const Result run = Kzica({"extract", Sample(sample.file), out, "-p", std::to_string(page)});
        ASSERT_EQ(run.exit, 0) << run.err;
        EXPECT_EQ(run.out + run.err, "");
        const PixPointer extracted = ReadPix(out);
        EXPECT_EQ(pixGetDepth(extracted.get()), 1);
        EXPECT_TRUE(SamePicture(extracted.get(), expected.get())) << ending;
        if (std::string(ending) == "pbm") continue;  // it has no place for it
        EXPECT_EQ(pixGetXRes(extracted.get()), resolution.first) << ending;
        EXPECT_EQ(pixGetYRes(extracted.get()), resolution.second) << ending;
      }
    }
  }
}

TEST(Extract, EveryEndingAndFormatGivesItsKindOfFile) {
  const struct {
    const char* name;
    std::string begin;
  } kinds[] = {{"png", "\x89PNG"},  {"tif", "II*"},  {"pbm", "P4"},
               {"pgm", "P5"},       {"ppm", "P6"},   {"pnm", "P4"},
               {"jpg", "\xFF\xD8"}, {"pdf", "%PDF"}, {"raw", "\xFF\xFF\xFF\xFF"}};
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
  const char* pictures[] = {"letter.png", "halftone.png", "odd.png"};
  for (int page = 1; page <= 3; ++page) {
    const PixPointer expected = ReadPix(Sample(pictures[page - 1]));
    EXPECT_TRUE(SamePicture(ReadTiffPage(tif, page).get(), expected.get()));
    EXPECT_TRUE(SamePicture(ReadTiffPage(backwards, 4 - page).get(), expected.get()));
    const std::string numbered = folder / ("00" + std::to_string(page) + "-100%.png");
    EXPECT_TRUE(SamePicture(ReadPix(numbered).get(), expected.get()));
    EXPECT_EQ(std::filesystem::exists(folder / ("some-" + std::to_string(page) + ".png")),
              page != 2);
  }
}

TEST(Extract, DamagedFilesAndMissingPagesGiveOneLineAndNoFile) {
  const std::string nothing = Sample("nothing.mda");
  const struct {
    std::string file;
    std::string page;
    const char* message;
  } cases[] = {
      {Sample("damaged-truncated.mda"), "1", "page 1: the data end too early \\(status -7\\)"},
      {Sample("damaged-length.mda"), "1",
       "page 1: there is no valid structured field at byte 64 \\(status -9\\)"},
      {Sample("letter.png"), "1",
       "page 1: this is neither an IOCA image nor a MO:DCA document \\(status -9\\)"},
      {Sample("report-g4.mda"), "4",
       "page 4: there is no such page, the last is page 3 \\(status -9\\)"},
      {Sample("report-g4.mda"), "2-4", "there is no page 4, the last is page 3 \\(status -9\\)"},
      {nothing, "1", "page 1: No such file or directory \\(status -10\\)"},
      {KZ_SAMPLES, "1", "page 1: Is a directory \\(status -10\\)"},
      {"/dev/null", "1", "page 1: only regular files can be read \\(status -10\\)"},
  };
  const TemporaryFolder folder;
  for (const auto& wrong : cases) {
    for (const char* name : {"out.tif", "out.raw"}) {
      if (wrong.page == "2-4" && std::string(name) == "out.raw") continue;
      const Result run = Kzica({"extract", wrong.file, folder / name, "-p", wrong.page});
      EXPECT_EQ(run.exit, 1) << wrong.file;
      EXPECT_EQ(Lines(run.err), 1u) << run.err;
      EXPECT_THAT(run.err, MatchesRegex("kzica: " + wrong.file + ": " + wrong.message + "\n"));
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
