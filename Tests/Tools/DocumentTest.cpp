#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "Tests/Support/EditedDocuments.h"
#include "Tests/Tools/Program.h"

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

  // Runs a command line; capitals stand for the files of the folder and the samples.
  Result Run(const std::string& line, const Conditions& conditions = {}) {
    return Kzica(Words(line, {{"FILE", m_folder / "file.mda"},
                              {"BARE", m_folder / "bare.ica"},
                              {"BROKEN", m_folder / "broken.mda"},
                              {"OPEN", m_folder / "open.mda"},
                              {"PICTURE", m_folder / "picture"},
                              {"TEXT", m_folder / "text"},
                              {"NONE", m_folder / "none"},
                              {"OUT", m_folder / "out"},
                              {"ODD", Sample("odd.png")},
                              {"LETTER", Sample("letter.png")},
                              {"HALFTONE", Sample("halftone.png")}}),
                 conditions);
  }

  // All files of the folder.
  std::map<std::string, Bytes> Contents() const {
    std::map<std::string, Bytes> contents;
    for (const auto& entry : std::filesystem::directory_iterator(m_folder / "")) {
      contents[entry.path().filename()] = FileBytes(entry.path());
    }
    return contents;
  }

  TemporaryFolder m_folder;
  std::map<char, Bytes> m_pictures;
};

TEST_F(Documents, AnyPageIsInsertedReplacedAndDeleted) {
  const std::string file = Copy("report-g4.mda", "file.mda"), out = m_folder / "out";
  const struct {
    std::string command;
    const char* expected;
    const char* would;
  } cases[] = {
      {"append FILE ODD LETTER", "lhool", "append 2 pages after page 3"},
      {"insert FILE HALFTONE --after 0", "hlhool", "insert 1 page before page 1 of 5"},
      {"insert FILE ODD --after z", "hlhoolo", "insert 1 page after page 6 of 6"},
      {"insert FILE ODD LETTER --after 1", "hollhoolo", "insert 2 pages after page 1 of 7"},
      {"replace FILE HALFTONE --page z", "hollhoolh", "replace page 9 of 9: one picture"},
      {"delete FILE --page 5-6", "hollolh", "remove pages 5-6 of 9: 2 pictures"},
      {"delete FILE -p z,1,1", "ollol", "remove pages 1, 7 of 7: 2 pictures"},
  };
  for (const auto& [command, expected, would] : cases) {
    SCOPED_TRACE(command);
    // Into another file, to standard output, and into the file itself: the same.
    const Bytes before = FileBytes(file);
    EXPECT_EQ(Run(command + " -o OUT").exit, 0);
    EXPECT_EQ(Run(command + " -o -", {.output = m_folder / "streamed"}).exit, 0);
    EXPECT_TRUE(FileBytes(file) == before);
    EXPECT_EQ(Run(command + " --dry-run").out, std::string("would ") + would + "\n");
    EXPECT_TRUE(FileBytes(file) == before);
    const Result run = Run(command);
    EXPECT_EQ(run.exit, 0) << run.err;
    EXPECT_EQ(run.err, "");
    const std::string what = std::string(would).substr(std::string(would).find(' '));
    EXPECT_THAT(run.out, testing::EndsWith(what + "\n"));
    EXPECT_EQ(Pages(file), expected);
    EXPECT_TRUE(FileBytes(out) == FileBytes(file));
    EXPECT_TRUE(FileBytes(m_folder / "streamed") == FileBytes(file));
    Walk(FileBytes(file));
  }
  EXPECT_EQ(Run("append FILE ODD --in-place --dry-run").out, "would append 1 page\n");
  EXPECT_EQ(Run("append OUT ODD").exit + Run("append FILE ODD --in-place").exit, 0);
  EXPECT_EQ(Run("delete FILE -p 1 -o OUT --quiet").out, "");
  EXPECT_EQ(Run("append OUT ODD --quiet").exit + Run("delete FILE -p 1").exit, 0);
  EXPECT_EQ(Run("delete OUT -p z").exit, 0);
  EXPECT_EQ(FileBytes(file), FileBytes(out));
  // Only a file of another kind needs force.
  EXPECT_EQ(Run("create FILE ODD").exit, 0);
  m_folder.File("out", {'n', 'o', 'n', 'e', '!', '!'});
  EXPECT_EQ(Run("create OUT ODD --force").exit, 0);
  EXPECT_EQ(FileBytes(out), FileBytes(file));
}

TEST_F(Documents, CreateTakesAllPagesOfATif) {
  const std::string odd = Sample("odd.png"), tif = m_folder / "all.tif", file = m_folder / "file";
  ASSERT_EQ(Kzica({"extract", Sample("report-g4.mda"), tif, "--all"}).exit, 0);
  ASSERT_EQ(Kzica({"create", file, odd, tif}).exit, 0);
  EXPECT_EQ(Pages(file), "olho");
  const Result info = Kzica({"info", file, "-p", "4"});
  EXPECT_THAT(info.out, HasSubstr("150 x 100 dpi"));
  const Result bare = Kzica({"create", m_folder / "bare.ica", tif, "--container", "ioca"});
  EXPECT_EQ(bare.exit, 1);
  EXPECT_THAT(bare.err, HasSubstr("all.tif: page 2: a bare IOCA file holds one page only"));
}

TEST_F(Documents, ThoseOfOthersKeepTheirContainer) {
  for (const char* sample : {"report-mixed.afp", "formatter.afp", "letter-scattered.afp"}) {
    const std::string file = Copy(sample, "file.mda");
    const std::string before = Pages(file);
    const Result run = Run("append FILE ODD --container modca");
    EXPECT_EQ(run.exit, 0);
    EXPECT_EQ(run.err, "kzica: " + file + ": stays MO:DCA with carriage control\n");
    EXPECT_EQ(Pages(file), before + "o") << sample;
    EXPECT_THAT(Kzica({"info", file, "-p", "z", "--json"}).out, HasSubstr("\"format\":311"));
    const Result jpeg = Run("append FILE ODD -c jpeg --function-set 10");
    EXPECT_EQ(jpeg.exit, 1);
    EXPECT_THAT(jpeg.err, HasSubstr("can't be written into MO:DCA with carriage control"));
  }
}

// A resource may hold a document, and a document no page.
TEST_F(Documents, PagesOfResourcesAndEmptyDocumentsDontCount) {
  using namespace kz::test;
  const Bytes resource = Field(0xA8C6) + Field(0xA8CE, Name("RES1")) + Begin("R") +
                         NumberedPage(8) + NumberedPage(9) + End("R") + Field(0xA9CE) +
                         Field(0xA9C6);
  const Bytes a = NumberedPage(1), b = NumberedPage(2), c = NumberedPage(3);
  const struct {
    const char* command;
    std::vector<Bytes> expected;  // empty: the picture's page
  } cases[] = {
      {"delete FILE -p 2", {a, c}},
      {"replace FILE ODD -p 2", {a, {}, c}},
      {"insert FILE ODD --after 1", {a, {}, b, c}},
      {"insert FILE ODD --after 0", {{}, a, b, c}},
      {"append FILE ODD", {a, b, c, {}}},
      {"append FILE ODD --in-place", {a, b, c, {}}},
      {"assemble FILE FILE:3,1", {c, a}},
  };
  for (const Bytes& before : {resource, Begin("E") + End("E")}) {
    for (const auto& edit : cases) {
      SCOPED_TRACE(edit.command);
      const std::string file =
          m_folder.File("file.mda", before + Begin("A") + a + b + c + End("A"));
      ASSERT_EQ(Run(edit.command).exit, 0);
      const Bytes after = FileBytes(file);
      EXPECT_EQ(Slice(after, 0, before.size()), before);
      std::vector<Bytes> pages = kz::test::Pages(Slice(after, before.size(), after.size()));
      ASSERT_EQ(pages.size(), edit.expected.size());
      for (size_t i = 0; i < pages.size(); ++i) {
        if (edit.expected[i].empty()) {
          EXPECT_GT(pages[i].size(), 500u);
        } else {
          EXPECT_EQ(pages[i], edit.expected[i]) << i;
        }
      }
    }
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
  ASSERT_EQ(Kzica({"split", report, m_folder / "page%02d.mda"}).exit, 0);
  EXPECT_EQ(Pages(m_folder / "page01.mda") + Pages(m_folder / "page02.mda") +
                Pages(m_folder / "page03.mda"),
            "lho");
  const Result would = Kzica({"split", report, m_folder / "would%d.mda", "--by", "2", "--dry-run"});
  EXPECT_EQ(would.out, "would split 3 pages into 2 files\n");
  EXPECT_FALSE(std::filesystem::exists(m_folder / "would1.mda"));
  ASSERT_EQ(Kzica({"split", report, m_folder / "part%d.mda", "--by", "2"}).exit, 0);
  EXPECT_EQ(Pages(m_folder / "part1.mda") + "," + Pages(m_folder / "part2.mda"), "lh,o");
}

// Groups named A and B, between them a page in none.
TEST_F(Documents, GroupsAreSelectedAndSplit) {
  using namespace kz::test;
  const auto page = [](int number) { return NumberedPage(number); };
  const auto group = [](const std::string& name, const Bytes& pages) {
    return Field(0xA8AD, Name(name)) + pages + Field(0xA9AD);
  };
  const std::vector<Bytes> parts = {group("A", page(1) + group("C", page(2))), page(3),
                                    group("B", page(4))};
  const std::string file =
      m_folder.File("file.mda", Begin("D") + parts[0] + parts[1] + parts[2] + End("D"));
  EXPECT_EQ(Run("split FILE OUT%d --by group").out, "split 4 pages into 3 files\n");
  for (size_t i = 0; i < parts.size(); ++i) {
    EXPECT_EQ(FileBytes(m_folder / "out" + std::to_string(i + 1)),
              Begin("D") + parts[i] + End("D"));
  }
  EXPECT_EQ(Run("split FILE OUT --by group --group A --page 2").exit, 0);
  EXPECT_EQ(FileBytes(m_folder / "out"), Begin("D") + group("A", group("C", page(2))) + End("D"));
  EXPECT_EQ(Run("assemble OUT FILE:z-1 --group C --group B").exit, 0);
  EXPECT_EQ(FileBytes(m_folder / "out"),
            Begin("D") + parts[2] + group("A", group("C", page(2))) + End("D"));
  EXPECT_EQ(Run("delete FILE --group A").out, "removed pages 1-2 of 4: 2 pictures\n");
  EXPECT_EQ(kz::test::Pages(FileBytes(file)), (std::vector<Bytes>{page(3), page(4)}));
}

// A scan, a page of text, one with two pictures, a scan: every command counts the same.
TEST_F(Documents, HaveTheSamePagesForEveryCommand) {
  using namespace kz::test;
  const auto image = [](int number) {
    return Field(0xA8FB) + PictureDataFields(NumberedSegment(number)) + Field(0xA9FB);
  };
  // EBCDIC HI in a transparent data control sequence.
  const Bytes text = Field(0xA8AF) + Field(0xA89B) +
                     Field(0xEE9B, {0x2B, 0xD3, 4, 0xDA, 0xC8, 0xC9}) + Field(0xA99B) +
                     Field(0xA9AF);
  const std::string file =
      m_folder.File("file.mda", Begin("D") + NumberedPage(1) + text + Field(0xA8AF) + image(2) +
                                    image(3) + Field(0xA9AF) + NumberedPage(4) + End("D"));
  const struct {
    const char* contents;
    std::vector<int> pictures;
  } pages[] = {
      {"one picture", {1}}, {"text, no picture", {}}, {"2 pictures", {2, 3}}, {"one picture", {4}}};
  for (int page = 1; page <= 4; ++page) {
    SCOPED_TRACE(page);
    const auto& expected = pages[page - 1];
    const std::string number = std::to_string(page);
    EXPECT_EQ(Run("delete FILE --dry-run -p " + number).out,
              "would remove page " + number + " of 4: " + expected.contents + "\n");
    EXPECT_EQ(Run("text FILE -p " + number).out.find("HI") != std::string::npos, page == 2);
    const TemporaryFolder out;
    const Result run = Kzica({"extract", file, out / "%d.raw", "-p", number});
    EXPECT_EQ(run.exit, page == 2 ? 1 : 0);
    EXPECT_THAT(run.err, HasSubstr(page == 2 ? "page 2 has no picture: text (status -9)" : ""));
    std::vector<std::string> names;
    for (const int picture : expected.pictures) {
      names.push_back(std::to_string(picture) + ".raw");
      EXPECT_EQ(FileBytes(out / names.back()), Pattern(8, static_cast<unsigned>(picture)));
    }
    EXPECT_EQ(out.Names(), names);
    ASSERT_EQ(Run("split FILE OUT -p " + number).exit, 0);
    EXPECT_EQ(CountImages(m_folder / "out"), static_cast<int>(names.size()));
  }
  // What has no picture keeps none of the others from their files.
  EXPECT_EQ(Run("extract FILE OUT.tif -p 1-3").exit, 1);
  EXPECT_TRUE(std::filesystem::exists(m_folder / "out.tif"));
  EXPECT_EQ(Run("extract FILE OUT.raw -p 3").exit, 2);
  EXPECT_EQ(Run("extract FILE OUT.raw --image 3").exit, 0);
  EXPECT_EQ(FileBytes(m_folder / "out.raw"), Pattern(8, 3));
  EXPECT_THAT(Run("info FILE --json").out,
              testing::AllOf(HasSubstr("\"pages\":4,"), HasSubstr("\"images\":4,")));
}

TEST_F(Documents, WhatCannotBeDoneIsRefusedAndStays) {
  Copy("letter-g4.ica", "bare.ica");
  Copy("damaged-length.mda", "broken.mda");
  Copy("odd.png", "picture");
  m_folder.File("text", {'n', 'o', 'n', 'e'});
  Bytes open = FileBytes(Copy("report-g4.mda", "file.mda"));
  open.erase(open.end() - 16, open.end());  // without End Document
  m_folder.File("open.mda", open);
  const struct {
    const char* command;
    int exit;
    const char* message;
  } cases[] = {
      {"delete FILE -p 4", 1, "there is no page 4, the last is page 3 (status -9)"},
      {"delete FILE -p 1-z", 1, "can't be removed (status -9)"},
      {"delete FILE -p one", 2, "'one' names no pages"},
      {"delete FILE", 2, "--page"},
      {"delete BARE -p 1", 1, "a bare IOCA file is one page"},
      {"delete BROKEN -p 1", 1, "no valid structured field at byte 64 (status -9)"},
      {"append OPEN ODD", 1, "the file ends without an End Document field (status -7)"},
      {"append OPEN ODD --in-place", 1, "doesn't end with End Document (status -9)"},
      {"append BROKEN ODD", 1, "no valid structured field at byte 64 (status -9)"},
      {"replace BROKEN ODD -p 2", 1, "no valid structured field at byte 64 (status -9)"},
      {"append FILE ODD --in-place -o OUT", 2, "--in-place"},
      {"append BARE ODD", 1, "a bare IOCA file is one page"},
      {"append PICTURE ODD", 1, "neither an IOCA image nor a MO:DCA document"},
      {"append FILE ODD TEXT", 1, "text: not a png, tif, pnm or jpg picture (status -9)"},
      {"insert FILE ODD --after 4", 1, "there is no page 4"},
      {"insert FILE ODD --after 1-2", 2, "one place"},
      {"insert FILE ODD", 2, "--after"},
      {"replace FILE ODD -p 1,2", 2, "one page"},
      {"create PICTURE ODD", 2, "--force replaces it"},
      {"create FILE ODD -c g4 --bits 8", 1, "carries 1 bit per pixel, not 8 (status -27)"},
      {"create FILE ODD --dpi 3277", 1, "at most 3276 dots per inch, not 3277 x 3277 (status -9)"},
      {"create FILE ODD --dpi 0", 2, "no resolution"},
      {"create FILE ODD --quality 101", 2, "--quality"},
      {"create FILE ODD --compression lzw", 2, "--compression"},
      {"create FILE ODD --bits 2", 2, "--bits"},
      {"assemble OUT FILE:4", 1, "there is no page 4"},
      {"extract FILE OUT.tif -p 2-4", 1,
       "mda: there is no page 4, the last is page 3 (status -9)\n"},
      {"extract FILE OUT.raw -p 4", 1, "there is no page 4, the last is page 3"},
      {"extract FILE OUT.raw --image 4", 1, "there is no picture 4, the last is picture 3"},
      {"extract FILE OUT.raw --image 1 -p 1", 2, "not by two"},
      {"extract FILE OUT.raw --group G", 1, "there is no group G (status -9)"},
      {"split FILE OUT%d --by 0", 2, "neither group nor a number of pages"},
      {"split FILE OUT%d --by group", 1, "it has no page groups"},
      {"delete FILE --tag ID", 2, "no tag"},
      {"info FILE -p 4", 1, "there is no page 4, the last is page 3"},
      {"info FILE -p 1-2", 2, "is no number"},
      {"assemble OUT FILE BROKEN", 1, "broken.mda: there is no valid"},
      {"assemble OUT", 2, "FILE"},
      {"split FILE OUT", 2, "%d"},
      {"split FILE FILE -p 1", 2, "the file to split"},
      {"text FILE -e no-such", 2, "there is no encoding 'no-such'"},
      {"dump NONE", 1, "No such file or directory (status -10)"},
      {"dump PICTURE", 1, "neither an IOCA image nor a MO:DCA document (status -9)"},
      {"append - ODD", 2, "standard input can't be changed"},
      {"delete - -p 1", 2, "standard input can't be changed"},
      {"help nosuch", 2, "there is no command 'nosuch'"},
  };
  const auto before = Contents();
  for (const auto& c : cases) {
    const Result run = Run(c.command);
    EXPECT_EQ(run.exit, c.exit) << c.command;
    EXPECT_THAT(run.err, HasSubstr(c.message)) << c.command;
    EXPECT_TRUE(Contents() == before) << c.command;
  }
}

// docs/format.md says what can be made, and what is made can be read back.
TEST_F(Documents, AreMadeAsTheTableOfCompressionsSays) {
  std::ifstream table(KZ_SOURCE_DIR "/docs/format.md");
  int rows = 0;
  for (std::string line; std::getline(table, line);) {
    std::vector<std::string> cells;
    std::istringstream row(line);
    for (std::string cell; std::getline(row, cell, '|');) cells.push_back(cell);
    if (cells.size() != 7 || cells[1] == " compression " || cells[1] == "---") continue;
    ++rows;
    const std::string option = Words(cells[3]).at(0);
    std::replace(cells[5].begin(), cells[5].end(), ',', ' ');
    const std::vector<std::string> depths = Words(cells[5]);
    for (const std::string container : {"ioca", "modca", "afp"}) {
      for (const std::string bits : {"1", "4", "8", "24"}) {
        const bool made = std::find(depths.begin(), depths.end(), bits) != depths.end() &&
                          (cells[6] == " all containers " || container == "modca");
        const Result run = Run("create OUT ODD -c " + option + " --container " + container +
                               " --dpi 150x100 --function-set 10 --bits " + bits);
        EXPECT_EQ(run.exit, made ? 0 : 1) << line << container << bits;
        EXPECT_EQ(std::filesystem::exists(m_folder / "out"), made);
        if (!made) continue;
        EXPECT_THAT(
            Run("info --json OUT").out,
            HasSubstr("\"bitsPerPixel\":" + bits + ",\"xResolution\":150,\"yResolution\":100,"));
        EXPECT_EQ(Run("check OUT").exit, 0);
        std::filesystem::remove(m_folder / "out");
      }
    }
  }
  EXPECT_EQ(rows, 7);
}

// Wherever in the new document, and in the temporary files, the disk gets full.
TEST_F(Documents, AFullDiskLeavesTheDocumentAsItWas) {
  const std::string file = Copy("report-g4.mda", "file.mda");
  const Bytes document = FileBytes(file);
  const auto before = Contents();
  for (const char* edit :
       {"append FILE LETTER", "append FILE LETTER --in-place", "insert FILE LETTER --after 1",
        "insert FILE LETTER --after 2", "replace FILE LETTER -p 2", "replace FILE LETTER -p 3",
        "delete FILE -p 1", "delete FILE -p 2", "assemble FILE FILE:z-1",
        "create FILE LETTER HALFTONE", "split FILE OUT -p 2", "extract FILE FILE.raw -p 2",
        "extract FILE FILE.tif --all", "extract FILE FILE.pdf --all", "extract FILE FILE.png",
        "extract FILE FILE.jpg", "extract FILE FILE.pbm"}) {
    ASSERT_EQ(Run(edit).exit, 0) << edit;
    rlim_t size = 0;  // of the largest file that it writes
    for (const auto& [name, content] : Contents()) {
      if (!before.contains(name) || before.at(name) != content) size = content.size();
      if (!before.contains(name)) std::filesystem::remove(m_folder / name);
    }
    m_folder.File("file.mda", document);
    // The least room is what the message takes.
    for (rlim_t room = 300; room < size; room += size / 12) {
      const Result run = Run(edit, {.fileSize = room});
      EXPECT_EQ(run.exit, 1) << edit << " in " << room << " bytes";
      EXPECT_THAT(run.err, HasSubstr("(status -5)")) << edit;
      EXPECT_TRUE(Contents() == before) << edit << " in " << room << " bytes";
    }
  }
}

TEST_F(Documents, TextIsOfThePagesAskedForAndChecksAreOfAllFiles) {
  const std::string formatter = Sample("formatter.afp");
  EXPECT_EQ(Kzica({"text", formatter, "-p", "z-1"}).out,
            "Second page of text\n\fFirst page of\ntext\n");
  EXPECT_EQ(Kzica({"text", formatter, "-p", "2", "-e", "raw"}).out.substr(0, 3), "\xE2\x85\x83");
  EXPECT_EQ(Kzica({"text", formatter, "-p", "2-", "-e", "cp037"}).out, "Second page of text\n");
  EXPECT_EQ(Kzica({"text", formatter, "-p", "2", "--group", "PGP00001"}).out,
            "Second page of text\n");
  EXPECT_THAT(Kzica({"text", formatter, "--group", "G"}).err, HasSubstr("there is no group G"));
  const Result several = Kzica({"text", formatter, m_folder / "no-such", formatter, "-p", "2"});
  EXPECT_EQ(several.exit, 1);
  EXPECT_EQ(several.out, "Second page of text\n\fSecond page of text\n");
  EXPECT_THAT(several.err, HasSubstr("no-such: "));
  const std::string lines = Kzica({"text", formatter, "--json"}).out;
  EXPECT_THAT(lines,
              HasSubstr(R"(formatter.afp","page":1,"line":2,"x":0.0,"y":808.2,"text":"text"})"));
  EXPECT_THAT(lines, testing::Not(HasSubstr("\f")));
  EXPECT_EQ(Kzica({"text", formatter, "--json", "-e", "raw"}).exit, 2);
  for (const char* command : {"check", "info"}) {
    const Result run = Kzica({command, Sample("damaged-length.mda"), Sample("report-g4.mda")});
    EXPECT_EQ(run.exit, 1);
    EXPECT_THAT(run.out, HasSubstr(Sample("report-g4.mda")));
  }
  EXPECT_THAT(Kzica({"append", "--help"}).out, HasSubstr("--in-place"));
  EXPECT_EQ(Kzica({"help", "append"}).out, Kzica({"append", "--help"}).out);
}

}  // namespace
