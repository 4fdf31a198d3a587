#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>

#include "Tests/Command/Program.h"
#include "Tests/Toolkit/EditedDocuments.h"

namespace {

using kz::test::Sample;
using testing::HasSubstr;

// Documents whose pages are the pictures of the samples, each called by a letter.
class Documents : public testing::Test {
 protected:
  Documents() {
    for (int page = 1; page <= 3; ++page) {
      m_pictures[std::string("lho")[static_cast<size_t>(page) - 1]] =
          Pixels(Sample("report-g4.mda"), page);
    }
  }

  // The picture of a page but for its resolution, which the png files don't have.
  static Bytes Pixels(const std::string& file, int page) {
    Bytes picture = kz::test::Picture(file, page);
    if (picture.size() >= 10) picture.erase(picture.begin() + 6, picture.begin() + 10);
    return picture;
  }

  // What the pages show: "lho" for the report.
  std::string Pages(const std::string& file) {
    std::string pages;
    for (int page = 1; page <= kz::test::CountImages(file); ++page) {
      const Bytes picture = Pixels(file, page);
      pages += '?';
      for (const auto& [letter, known] : m_pictures) {
        if (picture == known) pages.back() = letter;
      }
    }
    return pages;
  }

  std::string Copy(const std::string& sample, const std::string& name) {
    return m_folder.File(name, FileBytes(Sample(sample)));
  }

  TemporaryFolder m_folder;
  std::map<char, Bytes> m_pictures;
};

TEST_F(Documents, AnyPageIsInsertedReplacedAndDeleted) {
  const std::string file = Copy("report-g4.mda", "file.mda");
  const std::string letter = Sample("letter.png"), halftone = Sample("halftone.png"),
                    odd = Sample("odd.png");
  const struct {
    std::vector<std::string> arguments;
    const char* expected;
  } cases[] = {
      {{"insert", file, odd, letter, "--after", "3"}, "lhool"},
      {{"insert", file, halftone, "--after", "0"}, "hlhool"},
      {{"insert", file, odd, "--after", "z"}, "hlhoolo"},
      {{"insert", file, odd, "--after", "1"}, "holhoolo"},
      {{"replace", file, letter, "--page", "1"}, "lolhoolo"},
      {{"replace", file, halftone, "--page", "z"}, "lolhoolh"},
      {{"replace", file, halftone, "--page", "2"}, "lhlhoolh"},
      {{"delete", file, "--page", "2"}, "llhoolh"},
      {{"delete", file, "--page", "4-5"}, "llhlh"},
      {{"delete", file, "-p", "z,1"}, "lhl"},
  };
  for (const auto& c : cases) {
    const Result run = Kzica(c.arguments);
    EXPECT_EQ(run.exit, 0) << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(Pages(file), c.expected);
    kz::test::Walk(FileBytes(file));
  }
}

TEST_F(Documents, PageTwoGoesThroughTheFilterUnlessSomethingStandsBeforeIt) {
  const Bytes page1 = kz::test::NumberedPage(1), page2 = kz::test::NumberedPage(2);
  const Bytes between = kz::test::Comment("between");
  for (const Bytes& gap : {Bytes{}, between}) {
    const Bytes begin = kz::test::Begin("A"), end = kz::test::End("A");
    const std::string file = m_folder.File("file", begin + page1 + gap + page2 + end);
    ASSERT_EQ(Kzica({"delete", file, "-p", "2"}).exit, 0);
    EXPECT_EQ(FileBytes(file), begin + page1 + gap + end);
    m_folder.File("file", begin + page1 + gap + page2 + end);
    ASSERT_EQ(Kzica({"replace", file, Sample("odd.png"), "-p", "2"}).exit, 0);
    EXPECT_EQ(Slice(FileBytes(file), 0, (begin + page1 + gap).size()), begin + page1 + gap);
    EXPECT_EQ(Pages(file), "?o");
  }
}

TEST_F(Documents, PagesAreAssembledAndSplit) {
  const std::string report = Copy("report-g4.mda", "re:port.mda");
  const std::string out = m_folder / "out.mda";
  ASSERT_EQ(Kzica({"assemble", out, Sample("letter-g4.ica"), report + ":z-2,1", report,
                   Sample("report-mixed.afp") + ":6"})
                .exit,
            0);
  EXPECT_EQ(Pages(out), "lohllhoh");
  ASSERT_EQ(Kzica({"assemble", out, out + ":1,1"}).exit, 0);
  EXPECT_EQ(Pages(out), "ll");
  const std::string stream = m_folder / "stream.mda";
  ASSERT_EQ(Kzica({"assemble", "-", report}, {.output = stream}).exit, 0);
  EXPECT_EQ(FileBytes(stream), FileBytes(report));

  ASSERT_EQ(Kzica({"split", report, m_folder / "page%02d.mda"}).exit, 0);
  EXPECT_EQ(Pages(m_folder / "page01.mda") + Pages(m_folder / "page02.mda") +
                Pages(m_folder / "page03.mda"),
            "lho");
  ASSERT_EQ(Kzica({"split", report, m_folder / "last.mda", "-p", "z"}).exit, 0);
  EXPECT_EQ(Pages(m_folder / "last.mda"), "o");
  // The filter numbers images: a page that goes from such a document is noted.
  const std::string formatter = Copy("formatter.afp", "formatter.afp");
  const Result run = Kzica({"delete", formatter, "-p", "1"});
  EXPECT_EQ(run.exit, 0);
  EXPECT_THAT(run.err, HasSubstr("page 1 has no image of its own"));
}

TEST_F(Documents, WhatCannotBeDoneIsRefusedAndStays) {
  const std::string file = Copy("report-g4.mda", "file.mda");
  const std::string bare = Copy("letter-g4.ica", "bare.ica");
  const std::string broken = Copy("damaged-length.mda", "broken.mda");
  const std::string out = m_folder / "out";
  const std::string odd = Sample("odd.png");
  const struct {
    std::vector<std::string> arguments;
    int exit;
    const char* message;
  } cases[] = {
      {{"delete", file, "-p", "4"}, 1, "there is no page 4, the last is page 3 (status -9)"},
      {{"delete", file, "-p", "1-z"}, 1, "can't be removed (status -9)"},
      {{"delete", file, "-p", "one"}, 2, "'one' names no pages"},
      {{"delete", file}, 2, "--page"},
      {{"delete", bare, "-p", "1"}, 1, "a bare IOCA file is a single image"},
      {{"delete", broken, "-p", "1"}, 1, "no valid structured field at byte 64 (status -9)"},
      {{"insert", file, odd, "--after", "4"}, 1, "there is no page 4"},
      {{"insert", file, odd, "--after", "1-2"}, 2, "one place"},
      {{"insert", bare, odd, "--after", "0"}, 1, "a bare IOCA file is one page"},
      {{"replace", file, odd, "-p", "1,2"}, 2, "one page"},
      {{"replace", file, odd, "-p", "7"}, 1, "there is no page 7"},
      {{"assemble", out, file + ":4"}, 1, "there is no page 4"},
      {{"assemble", out, file, broken}, 1, "broken.mda: there is no valid"},
      {{"assemble", out, m_folder / "none:1"}, 1, "No such file or directory (status -10)"},
      {{"assemble", out}, 2, "FILE"},
      {{"split", file, out}, 2, "%d"},
      {{"split", file, file, "-p", "1"}, 2, "the file to split"},
      {{"text", file, "-p", "4"}, 1, "there is no page 4"},
      {{"text", file, "-e", "no-such"}, 1, "there is no encoding 'no-such'"},
      {{"dump", m_folder / "none"}, 1, "No such file or directory (status -10)"},
      {{"check", m_folder / "none"}, 1, "No such file or directory (status -10)"},
  };
  const Bytes before = FileBytes(file);
  for (const auto& c : cases) {
    const Result run = Kzica(c.arguments);
    EXPECT_EQ(run.exit, c.exit) << testing::PrintToString(c.arguments);
    EXPECT_THAT(run.err, HasSubstr(c.message));
    EXPECT_FALSE(std::filesystem::exists(out));
    EXPECT_TRUE(FileBytes(file) == before);
  }
  // The disk is full.
  for (const std::vector<std::string>& edit :
       std::vector<std::vector<std::string>>{{"delete", file, "-p", "1"},
                                             {"delete", file, "-p", "2"},
                                             {"insert", file, odd, "--after", "2"},
                                             {"replace", file, odd, "-p", "3"},
                                             {"assemble", file, file + ":z-1"},
                                             {"split", file, out, "-p", "1"}}) {
    const Result run = Kzica(edit, {.fileSize = 5000});
    EXPECT_EQ(run.exit, 1) << edit[0];
    EXPECT_THAT(run.err, HasSubstr("(status -5)")) << edit[0];
    EXPECT_TRUE(FileBytes(file) == before) << edit[0];
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_folder / ""), {}), 3);
  }
}

TEST_F(Documents, TextDumpAndCheckLookInside) {
  const std::string formatter = Sample("formatter.afp");
  EXPECT_EQ(Kzica({"text", formatter}).out, "First page of\ntext\nSecond page of text\n");
  EXPECT_EQ(Kzica({"text", formatter, "-p", "z-1"}).out,
            "Second page of text\nFirst page of\ntext\n");
  EXPECT_EQ(Kzica({"text", formatter, "-p", "2", "-e", "raw"}).out.substr(0, 3), "\xE2\x85\x83");

  const Result damaged = Kzica({"dump", Sample("damaged-length.mda")});
  EXPECT_EQ(damaged.exit, 0);
  EXPECT_THAT(damaged.out, HasSubstr("*** no structured field can have the length 7"));
  const Result json = Kzica({"dump", Sample("letter-g4.ica"), "--json"});
  EXPECT_EQ(nlohmann::json::parse(json.out.substr(0, json.out.find('\n')))["name"],
            "Begin Segment");
  EXPECT_EQ(Kzica({"dump", formatter}, {.output = "/dev/full"}).exit, 1);

  const Result good = Kzica({"check", Sample("report-g4.mda"), Sample("letter-g4.ica")});
  EXPECT_EQ(good.exit, 0);
  EXPECT_EQ(good.out, Sample("report-g4.mda") + ": all 3 pages can be loaded\n" +
                          Sample("letter-g4.ica") + ": the page can be loaded\n");
  const Result bad = Kzica({"check", Sample("damaged-truncated.mda"), Sample("report-g4.mda")});
  EXPECT_EQ(bad.exit, 1);
  EXPECT_THAT(bad.err, HasSubstr("damaged-truncated.mda: page 1: the data end too early"));
  EXPECT_THAT(bad.err, HasSubstr("the file ends within the structured field at byte 8431"));
  EXPECT_EQ(bad.out, Sample("report-g4.mda") + ": all 3 pages can be loaded\n");
}

}  // namespace
