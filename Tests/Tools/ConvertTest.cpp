// Folders of documents become folders of picture files, whatever is among them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "Tests/Tools/ConvertFolder.h"
#include "Toolkit/Pictures/PictureFile.h"

namespace {

namespace fs = std::filesystem;
using kz::test::Begin;
using kz::test::End;
using kz::test::Name;
using kz::test::NumberedPage;
using kz::test::Picture;
using testing::ElementsAre;
using testing::HasSubstr;

using ConvertTest = ConvertFolder;

TEST_F(ConvertTest, TheTreeIsKeptAndTheOthersAreLeftOut) {
  const Bytes report = FileBytes(Sample("report-g4.mda"));
  Put("a.afp", report);
  Put("2024/05/b", report);
  Put("2024/.hidden.afp", report);
  Put("2024/framed.afp", FileBytes(Sample("records-crlf.afp")));
  Put("2024/a.txt", {'t', 'e', 'x', 't'});
  Put("2024/empty", {});
  Put("2024/picture.png", FileBytes(Sample("letter.png")));
  const Result run = Convert("in --to out --report report");
  EXPECT_EQ(run.exit, 0) << run.err;
  EXPECT_EQ(run.err, "");
  EXPECT_THAT(run.out, HasSubstr("4 files: 4 done; 3 other files left out; 10 pages, 10 pictures"));
  EXPECT_THAT(Files(),
              ElementsAre("2024/.hidden.pdf", "2024/05/b.pdf", "2024/framed.pdf", "a.pdf"));
  const auto lines = Lines("report");
  ASSERT_EQ(lines.size(), 4u);
  const nlohmann::json& line = lines.at("in/2024/05/b");
  EXPECT_EQ(line["status"], "done");
  EXPECT_EQ(line["outputs"], nlohmann::json({"out/2024/05/b.pdf"}));
  EXPECT_EQ(line["pages"], 3);
  EXPECT_EQ(line["pictures"], 3);
  EXPECT_EQ(line["bytes_in"], report.size());
  EXPECT_EQ(line["bytes_out"], fs::file_size(Out("2024/05/b.pdf")));
}

TEST_F(ConvertTest, NamesFollowPartsAndFormats) {
  Put("one.ica", FileBytes(Sample("letter-g4.ica")));
  Put("three.mda", NumberedDocument());
  Put("groups.mda", NumberedDocument({"A", "B", "A", "", ""}));
  const struct {
    const char* words;
    std::vector<std::string> names;
  } cases[] = {
      {"in/three.mda", {"three.pdf"}},
      {"in/three.mda -f png", {"three-1.png", "three-2.png", "three-3.png"}},
      {"in/one.ica -f png", {"one.png"}},
      {"in/one.ica -f png --name %f_%02d", {"one_01.png"}},
      {"in/three.mda --per page -f tif", {"three-1.tif", "three-2.tif", "three-3.tif"}},
      {"in/three.mda --per page --name p%03d", {"p001.pdf", "p002.pdf", "p003.pdf"}},
      {"in/three.mda --per group", {"three-ungrouped.pdf"}},
      {"in/groups.mda --per group",
       {"groups-A-2.pdf", "groups-A.pdf", "groups-B.pdf", "groups-ungrouped.pdf"}},
      {"in/groups.mda --per group --name %d%g -f pbm",
       {"1A.pbm", "2B.pbm", "3A.pbm", "4ungrouped-1.pbm", "4ungrouped-2.pbm"}},
  };
  for (const auto& c : cases) {
    fs::remove_all(Out(""));
    const Result run = Convert(std::string(c.words) + " --to out");
    EXPECT_EQ(run.exit, 0) << c.words << "\n" << run.err;
    EXPECT_EQ(Files(), c.names) << c.words;
  }
}

// The pixels, not only the names.
TEST_F(ConvertTest, OutputsShowTheirPages) {
  Put("a.mda", NumberedDocument({"", "", ""}, 40));
  ASSERT_EQ(Convert("in --to out -f tif -j 3").exit, 0);
  ASSERT_EQ(Convert("in --to out -f png --per page").exit, 0);
  kz::PictureReader all;
  ASSERT_TRUE(all.Open(Out("a.tif")).Ok());
  ASSERT_EQ(all.Pages(), 3);
  for (int page = 1; page <= 3; ++page) {
    const Bytes expected = Picture(In("a.mda"), page);
    kz::PictureReader one;
    ASSERT_TRUE(one.Open(Out(std::string("a-").append(std::to_string(page)).append(".png"))).Ok());
    for (auto [reader, number] : {std::pair(&all, page), std::pair(&one, 1)}) {
      kz::Bitmap bitmap;
      ASSERT_TRUE(reader->Read(number, bitmap).Ok());
      const _BITMAPHANDLE& record = *bitmap.Handle();
      ASSERT_EQ(record.nHeight, 4);
      for (int y = 0; y < 4; ++y) {
        const unsigned char* row = record.pRows + ptrdiff_t{y} * record.nRowBytes;
        EXPECT_TRUE(std::equal(
            row, row + 2, expected.end() - 4 * record.nRowBytes + ptrdiff_t{y} * record.nRowBytes))
            << page;
      }
    }
  }
}

TEST_F(ConvertTest, TheSecondOfANameIsAnErrorThatNamesBoth) {
  Put("a.afp", NumberedDocument());
  Put("a.aaa", {'n', 'o', 'n', 'e'});
  Put("a.mda", NumberedDocument({""}));
  Put("a.txt", {'n', 'o', 'n', 'e'});
  Put("sub/a.mda", NumberedDocument());
  for (const char* jobs : {"1", "4"}) {
    fs::remove_all(Out(""));
    const Result run = Convert(std::string("in --to out -j ") + jobs);
    EXPECT_EQ(run.exit, 1);
    EXPECT_EQ(run.err,
              "kzica: in/a.mda: its outputs would have the same names as those of in/a.afp\n");
    EXPECT_THAT(Files(), ElementsAre("a.pdf", "sub/a.pdf"));
    EXPECT_THAT(run.out, HasSubstr("3 files: 2 done, 1 failed; 2 other files left out; 6 pages"));
  }
  fs::remove_all(Out(""));
  EXPECT_EQ(Convert("in --to out --name %F").exit, 0);
  EXPECT_THAT(Files(), ElementsAre("a.afp.pdf", "a.mda.pdf", "sub/a.mda.pdf"));
  // Two folders with the same names in them, and a file that is named twice.
  fs::remove_all(Out(""));
  Put("../in2/sub/a.xyz", NumberedDocument());
  const Result two = Convert("in/sub in2/sub in/sub/a.mda --to out");
  EXPECT_EQ(two.exit, 1);
  EXPECT_THAT(two.err, HasSubstr("in2/sub/a.xyz: its outputs would have the same names as those "
                                 "of in/sub/a.mda"));
  EXPECT_THAT(two.err, HasSubstr("in/sub/a.mda: its outputs would have"));
  EXPECT_THAT(Files(), ElementsAre("a.pdf"));
}

// Names that only show when a document is open: the first output stays.
TEST_F(ConvertTest, NoOutputReplacesAnotherOfTheRun) {
  Put("a-1.mda", NumberedDocument({""}));
  Put("a.mda", NumberedDocument());
  Put("g1.mda", NumberedDocument({"G"}));
  Put("g2.mda", NumberedDocument({"G"}));
  for (const char* words :
       {"in/a-1.mda in/a.mda -f png", "in/g1.mda in/g2.mda --per group --name %g"}) {
    for (const char* jobs : {" -j 1", " -j 4"}) {
      fs::remove_all(Out(""));
      const Result run = Convert(std::string(words) + " --to out" + jobs);
      EXPECT_EQ(run.exit, 1);
      EXPECT_THAT(run.err, HasSubstr("it stays as it is"));
      // A later run may replace what this one made.
      const Result again = Convert(std::string(words) + " --to out" + jobs);
      EXPECT_EQ(again.exit, 1);
      EXPECT_THAT(again.out, HasSubstr("2 files: 1 done, 1 failed"));
    }
  }
}

TEST_F(ConvertTest, OutputsNeverReplaceDocuments) {
  Put("a.pdf", NumberedDocument());
  Put("b.mda", NumberedDocument());
  Put("b-1.tif", NumberedDocument());
  const Bytes before = FileBytes(In("a.pdf"));
  Result run = Convert("in/a.pdf --to in");
  EXPECT_EQ(run.exit, 1);
  EXPECT_THAT(run.err, HasSubstr("this is the source"));
  EXPECT_EQ(FileBytes(In("a.pdf")), before);
  run = Convert("in/b.mda --to in -f tif --per page");
  EXPECT_EQ(run.exit, 1);
  EXPECT_THAT(run.err, HasSubstr("in/b-1.tif: a document stands there; it stays as it is"));
  EXPECT_EQ(FileBytes(In("b-1.tif")), NumberedDocument());
  EXPECT_TRUE(fs::exists(In("b-2.tif")));
}

TEST_F(ConvertTest, OutputsBesideTheSourcesAreNoSources) {
  Put("a.mda", NumberedDocument());
  Put("sub/b.mda", NumberedDocument());
  for (const char* to : {"in", "in/out"}) {
    for (int run = 0; run < 2; ++run) {
      const Result result = Convert(std::string("in --to ") + to);
      EXPECT_EQ(result.exit, 0) << result.err;
      EXPECT_THAT(result.out, HasSubstr("2 files: 2 done"));
    }
    EXPECT_TRUE(fs::exists(m_folder / (std::string(to) + "/sub/b.pdf")));
  }
  EXPECT_FALSE(fs::exists(In("out/out")));
}

TEST_F(ConvertTest, OneBadFileKeepsNoOtherFromItsOutput) {
  Put("damaged.mda", FileBytes(Sample("damaged-truncated.mda")));
  Put("good.mda", NumberedDocument());
  const Bytes bad = Begin("DOC") + NumberedPage(1) + Field(0xA8AF, Name("P")) + Field(0xA8FB) +
                    PictureDataFields(Segment(ImageSize(16, 4) + Encoding(0x77), {}, 5), {20, 9}) +
                    Field(0xA9FB) + Field(0xA9AF, Name("P")) + NumberedPage(3) + End("DOC");
  Put("picture.mda", bad);
  fs::create_symlink("nowhere", In("link"));
  const Bytes text =
      Begin("DOC") + Field(0xA8AF, Name("P")) + Field(0xA9AF, Name("P")) + End("DOC");
  Put("text.mda", text);
  Put("mixed.mda", Begin("DOC") + NumberedPage(1) + Slice(text, Begin("DOC").size(), text.size()));
  const Result run = Convert("in none in/none.mda in/pipe --to out --report report");
  EXPECT_EQ(run.exit, 1);
  EXPECT_THAT(Files(), ElementsAre("damaged.pdf", "good.pdf", "mixed.pdf", "picture.pdf"));
  const auto lines = Lines("report");
  const struct {
    const char* source;
    const char* status;
    int pictures;
    const char* words;
  } cases[] = {
      {"in/damaged.mda", "failed", 1, "the file ends within"},
      {"in/good.mda", "done", 3, ""},
      {"in/picture.mda", "failed", 2, "page 2, picture 2: "},
      {"in/link", "failed", 0, "No such file"},
      {"none", "failed", 0, "No such file"},
      {"in/text.mda", "done", 0, "none of its pages has a picture, nor anything else"},
      {"in/mixed.mda", "done", 1, "page 2 has no picture, nor anything else"},
  };
  for (const auto& c : cases) {
    ASSERT_TRUE(lines.contains(c.source)) << c.source;
    const nlohmann::json& line = lines.at(c.source);
    EXPECT_EQ(line["status"], c.status) << c.source;
    EXPECT_EQ(line["pictures"], c.pictures) << c.source;
    const auto& words = line[line["status"] == "failed" ? "errors" : "warnings"];
    EXPECT_THAT(words.empty() ? "" : words[0].get<std::string>(), HasSubstr(c.words));
  }
  // Warnings alone.
  EXPECT_EQ(Convert("in/text.mda in/good.mda --to out").exit, 3);
  // A file that is named must be a document.
  Put("note.txt", {'n', 'o', 't', 'e'});
  EXPECT_EQ(Convert("in/note.txt --to out").exit, 1);
}

TEST_F(ConvertTest, WrongUsageIsToldBeforeAnythingIsDone) {
  Put("a.mda", NumberedDocument());
  for (const char* words :
       {"--to out", "in", "in --to out --shard 3/2", "in --to out --per page --name %f",
        "in --to out -f raw", "in --to out --per picture", "in --to out -j 0",
        "in --to out --keep-cmyk", "in --to out --profile in/a.mda"}) {
    EXPECT_EQ(Convert(words).exit, 2) << words;
  }
  EXPECT_FALSE(fs::exists(Out("")));
  EXPECT_EQ(Convert("--list none --to out").exit, 1);
  EXPECT_EQ(Convert("in --to in/a.mda").exit, 1);
  EXPECT_EQ(Convert("in --to out --report none/report").exit, 1);
}

}  // namespace
