// What info, check and index say of pages, pictures and groups.
#include <nlohmann/json.hpp>

#include "Tests/Support/EditedDocuments.h"
#include "Tests/Tools/Program.h"

namespace {

using namespace kz::test;
using nlohmann::json;
using testing::HasSubstr;

Bytes Text(const std::string& name) { return Field(0xA8AF, Name(name)); }

Bytes Tag(const std::string& value) {
  const Bytes text = Slice(Name(value), 0, value.size());
  const auto length = static_cast<unsigned char>(4 + value.size());
  return Field(0xA090, Bytes{7, 0x02, 0x0B, 0, 0xD2, 0xC5, 0xE8, length, 0x36, 0, 0} + text);
}

// A scan; text with a tag of its own; two pictures, one of them a resource's, which the
// last page shows, too; a picture that nobody can decode and a resource that isn't there.
Bytes Mixed() {
  const Bytes include = Field(0xAF5F, Name("LOGO"));
  const Bytes logo = Field(0xA8C6) + Field(0xA8CE, Name("LOGO") + Bytes(2)) +
                     Field(0xA85F, Name("LOGO")) + Field(0xA8FB) +
                     PictureDataFields(NumberedSegment(7)) + Field(0xA9FB) +
                     Field(0xA95F, Name("LOGO")) + Field(0xA9CE) + Field(0xA9C6);
  const Bytes text = Text("PAGE2") + Tag("TWO") + Field(0xEE9B, {0x2B, 0xD3}) + Field(0xA9AF);
  const Bytes rl4 = Field(0xA8FB) +
                    PictureDataFields(Segment(ImageSize(8, 8) + Encoding(6), {1, 2})) +
                    Field(0xA9FB);
  return logo + Begin("A") + Field(0xA8AD, Name("G1")) + Tag("ONE") + NumberedPage(1) + text +
         Field(0xA9AD) + NumberedPage(3, {}, include) + Field(0xA8AD, Name("G2")) + Text("PAGE4") +
         include + rl4 + Field(0xAF5F, Name("GONE")) + Field(0xA9AF) + Field(0xA9AD) + End("A");
}

class Information : public testing::Test {
 protected:
  TemporaryFolder m_folder;
  std::string m_file = m_folder.File("mixed.mda", Mixed());
  std::string m_damaged = m_folder.File(
      "damaged.mda", Begin("A") + NumberedPage(1) + Bytes(1000) + NumberedPage(2) + End("A"));
  std::string m_resource =
      m_folder.File("res.afp", Field(0xA85F, Name("LOGO")) + Field(0xA8FB) +
                                   PictureDataFields(NumberedSegment(7)) + Field(0xA9FB) +
                                   Field(0xA95F, Name("LOGO")));
  std::string m_cut = m_folder.File("cut.mda", Slice(Mixed(), 0, Mixed().size() - 30));

  Result Run(const std::string& line) {
    return Kzica(Words(line, {{"MIXED", m_file},
                              {"DAMAGED", m_damaged},
                              {"RESOURCE", m_resource},
                              {"CUT", m_cut},
                              {"LETTER", ::Sample("letter-g4.ica")}}));
  }
};

TEST_F(Information, SaysWhichPictureIsOnWhichPage) {
  const struct {
    const char* line;
    int exit;
    std::vector<const char*> says;
  } cases[] = {
      {"info MIXED",
       0,
       {"pages         4\n", "pictures      4\n", "groups        2\n", "tags          2\n",
        "resources     1 page segment\n", "missing       GONE\n",
        "picture       1 of 4, in resource LOGO, on pages 3-4\n", "size          16 x 4 pixels\n"}},
      {"info MIXED -p 1", 0, {"page          1 of 4: one picture\n", "2 of 4, on page 1\n"}},
      {"info MIXED -p 2", 0, {"page          2 of 4: text, no picture\n"}},
      {"info MIXED -p 3",
       0,
       {"page          3 of 4: 2 pictures\n", "1 of 4", "3 of 4, on page 3\n"}},
      {"info MIXED -p z",
       1,
       {"1 of 4, in", "4 of 4, on page 4\n", "unreadable    RL4 compression"}},
      {"info MIXED --group G2", 1, {"page          4 of 4: ", "1 of 4, in", "unreadable    RL4"}},
      {"info MIXED --group G1 -p 2", 0, {"page          2 of 4: text, no picture\n"}},
      {"info MIXED --group G1 -p 3", 1, {}},
      {"info MIXED --tag TWO", 2, {}},
      {"info MIXED --group G1 --image 1", 2, {}},
      {"info MIXED --image 3", 0, {"3 of 4, on page 3\n"}},
      {"info MIXED -i z", 1, {"4 of 4, on page 4\n"}},
      {"info MIXED -i 5", 1, {}},
      {"info MIXED -p 5", 1, {}},
      {"info MIXED -p 1-2", 2, {}},
      {"info MIXED --all", 3, {"\n      3  3          -         IOCA image  16 x 4 ", "  3-4  "}},
      {"info RESOURCE", 0, {"pages         0\n", "1 of 1, in resource LOGO, on no page\n"}},
      {"info DAMAGED", 1, {"pages         2\n", "pictures      2\n", "skipped       1000 bytes"}},
      {"info CUT", 1, {"pages         4\n", "pictures      4\n"}},
  };
  for (const auto& c : cases) {
    const Result run = Run(c.line);
    EXPECT_EQ(run.exit, c.exit) << c.line << run.err;
    EXPECT_EQ(run.err.empty(), c.exit % 3 == 0) << c.line << run.err;
    for (const char* words : c.says) EXPECT_THAT(run.out, HasSubstr(words)) << c.line;
  }
}

TEST_F(Information, IsTheSameInJson) {
  const json page = json::parse(Run("info --json MIXED -p 4").out);
  EXPECT_EQ(page["version"], 1);
  EXPECT_EQ(page["pages"], 4);
  EXPECT_EQ(page["page"], 4);
  EXPECT_EQ(page["image"], 1);
  EXPECT_EQ(page["width"], 16);
  EXPECT_EQ(page["missing"], json({"GONE"}));
  EXPECT_EQ(page["structure"], json());
  EXPECT_EQ(page["pictures"].size(), 2u);
  EXPECT_EQ(page["pictures"][0]["onPages"], json({3, 4}));
  EXPECT_EQ(page["pictures"][1]["error"]["status"], -9);
  const json empty = json::parse(Run("info --json MIXED -p 2").out);
  EXPECT_EQ(empty["image"], json());
  EXPECT_EQ(empty["holds"], "text, no picture");
  const json group = json::parse(Run("info --json MIXED --group G1").out);
  EXPECT_EQ(group["selected"], json({1, 2}));
  EXPECT_EQ(group["pictures"].size(), 1u);
  EXPECT_EQ(json::parse(Run("info --json MIXED --all").out)["pictures"].size(), 4u);
  const json damaged = json::parse(Run("info --json DAMAGED").out);
  EXPECT_EQ(damaged["skipped"][0]["length"], 1000);
  EXPECT_EQ(damaged["structure"]["status"], -9);
}

TEST_F(Information, ChecksTellDamageFromWarnings) {
  const struct {
    const char* line;
    int exit;
    std::vector<const char*> says;
    std::vector<const char*> complains;
  } cases[] = {
      {"check LETTER", 0, {"letter-g4.ica: sound: 1 page, 1 picture\n"}, {}},
      {"check RESOURCE", 0, {": sound: 0 pages, 1 picture\n"}, {}},
      {"check MIXED",
       3,
       {": sound but for 2 warnings: 4 pages, 4 pictures\n"},
       {": page 4: warning: the resource GONE isn't in the file\n",
        ": page 4, picture 4: warning: can't be read: "}},
      {"check DAMAGED",
       1,
       {": damaged: 2 pages, 2 pictures\n"},
       {": no structured field (1000 bytes skipped) (status -9)\n"}},
      {"check LETTER MIXED DAMAGED CUT none",
       1,
       {"\n5 files: 1 sound, 1 with warnings, 2 damaged, 1 can't be read\n"},
       {"none: No such file"}},
      {"check MIXED -q", 3, {}, {}},
      {"check none DAMAGED -q", 1, {}, {}},
  };
  for (const auto& c : cases) {
    const Result run = Run(c.line);
    EXPECT_EQ(run.exit, c.exit) << c.line << run.err;
    for (const char* words : c.says) EXPECT_THAT(run.out, HasSubstr(words)) << c.line;
    for (const char* words : c.complains) EXPECT_THAT(run.err, HasSubstr(words)) << c.line;
    EXPECT_EQ(run.out.empty(), c.says.empty()) << c.line;
    EXPECT_EQ(run.err.empty(), c.complains.empty()) << c.line << run.err;
  }
  const json report = json::parse(Run("check --json MIXED").out);
  EXPECT_EQ(report["ok"], false);
  EXPECT_EQ(report["problems"][1]["severity"], "warning");
  EXPECT_EQ(report["problems"][1]["page"], 4);
  EXPECT_EQ(report["problems"][1]["image"], 4);
}

// Whichever thread gets to a picture first.
TEST_F(Information, ChecksReportInTheOrderOfThePictures) {
  Bytes pages;
  std::string expected;
  const std::string file = m_folder / "many.mda";
  for (int page = 1; page <= 300; ++page) {
    const bool bad = page % 3 == 0;
    const Bytes segment = Segment(ImageSize(100, page % 2 == 0 ? 2000 : 2) + Encoding(0x03),
                                  bad ? Bytes(1) : Bytes(26000));
    pages = pages + Text("P") + Field(0xA8FB) + PictureDataFields(segment) + Field(0xA9FB) +
            Field(0xA9AF);
    if (bad) {
      const std::string number = std::to_string(page);
      expected += "page " + number + ", picture " + number + "\n";
    }
  }
  m_folder.File("many.mda", Begin("A") + pages + End("A"));
  const Result run = Kzica({"check", "--json", file});
  EXPECT_EQ(run.exit, 1);
  std::string found;
  const json report = json::parse(run.out);
  for (const json& problem : report["problems"]) {
    found += "page " + problem["page"].dump() + ", picture " + problem["image"].dump() + "\n";
  }
  EXPECT_EQ(found, expected);
}

TEST_F(Information, IndexListsGroupsAndTagsWithTheirPages) {
  const Result run = Run("index MIXED");
  EXPECT_EQ(run.exit, 0) << run.err;
  EXPECT_EQ(run.out,
            "level,group,first_page,last_page,tag,value\n"
            "group,G1,1,2,KEY,ONE\n"
            "page,G1,2,2,KEY,TWO\n"
            "group,G2,4,4,,\n");
  const json index = json::parse(Run("index --json MIXED").out);
  EXPECT_EQ(index["groups"][1],
            json({{"name", "G2"}, {"parent", nullptr}, {"firstPage", 4}, {"lastPage", 4}}));
  EXPECT_EQ(index["tags"][1], json({{"name", "KEY"}, {"value", "TWO"}, {"group", 1}, {"page", 2}}));
  EXPECT_EQ(Run("index CUT").exit, 1);
  // A value with what separates values, and a group without pages.
  const Bytes odd =
      Field(0xA090, Bytes{7, 0x02, 0x0B, 0, 0xD2, 0xC5, 0xE8, 7, 0x36, 0, 0, 0x6B, 0x7F, 0x25});
  const std::string file = m_folder.File(
      "odd.mda", Begin("A") + Field(0xA8AD, Name("G1")) + odd + Field(0xA9AD) + End("A"));
  EXPECT_EQ(Kzica({"index", file, "--csv"}).out,
            "level,group,first_page,last_page,tag,value\ngroup,G1,,,KEY,\",\"\"\n\"\n");
}

}  // namespace
