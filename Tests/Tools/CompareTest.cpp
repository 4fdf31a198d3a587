#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "Tests/Support/FileBuilder.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Tools/Program.h"

namespace {

using testing::HasSubstr;

TEST(Compare, ExitStatusIsThatOfDiff) {
  const TemporaryFolder folder;
  const std::string report = Sample("report-g4.mda"), mixed = Sample("report-mixed.afp");
  const std::string odd = Sample("odd.png"), none = folder / "none.afp";
  const std::string damaged = Sample("damaged-truncated.mda");
  const struct {
    std::vector<std::string> arguments;
    int exit;
    const char* out;
  } cases[] = {
      {{report, report}, 0, "3 pages | 3 pages: the same"},
      {{report, mixed}, 1, "only in the second file"},
      {{report, report, "-q"}, 0, ""},
      {{report, mixed, "-q"}, 1, ""},
      {{report, mixed, "-p", "1", "--only", "text"}, 0, "the same"},
      {{damaged, damaged, "-q"}, 0, ""},
      {{report, odd}, 2, ""},
      {{none, report}, 2, ""},
      {{report, none, "-q"}, 2, ""},
      {{report, report, "-p", "99"}, 2, ""},
      {{report}, 2, ""},
      {{report, report, "--only", "colours"}, 2, ""},
      {{report, mixed, "--visual", folder / "none/out.html"}, 2, ""},
      {{report, mixed, "--all"}, 2, ""},
  };
  for (const auto& one : cases) {
    std::vector<std::string> arguments = {"compare"};
    arguments.insert(arguments.end(), one.arguments.begin(), one.arguments.end());
    const Result run = Kzica(arguments);
    EXPECT_EQ(run.exit, one.exit) << testing::PrintToString(arguments) << run.err;
    EXPECT_THAT(run.out, HasSubstr(one.out)) << testing::PrintToString(arguments);
    EXPECT_EQ(run.err.empty(), one.exit != 2) << run.err;
  }
  Conditions full;
  full.output = "/dev/full";
  EXPECT_EQ(Kzica({"compare", report, report}, full).exit, 2);
}

// However its pixels are coded, and wherever they stand, a picture is the same.
TEST(Compare, PixelsCountAndNotTheirCoding) {
  const TemporaryFolder folder;
  const std::string letter = Sample("letter.png"), first = folder / "first.afp";
  ASSERT_EQ(Kzica({"create", first, letter, "--compression", "g4"}).exit, 0);
  for (const char* compression : {"mmr", "g3", "none"}) {
    const std::string other = folder / (std::string(compression) + ".afp");
    const Result created = Kzica({"create", other, letter, "--compression", compression});
    ASSERT_EQ(created.exit, 0) << created.err;
    EXPECT_FALSE(FileBytes(first) == FileBytes(other));
    const Result run = Kzica({"compare", first, other});
    EXPECT_EQ(run.exit, 0) << compression << ": " << run.out;
  }
  const std::string bare = folder / "bare.ica";
  ASSERT_EQ(Kzica({"create", bare, letter, "--container", "ioca"}).exit, 0);
  const Result pictures = Kzica({"compare", first, bare, "--only", "pages,pictures,text"});
  EXPECT_EQ(pictures.exit, 0) << pictures.out;
  const Result all = Kzica({"compare", first, bare});
  EXPECT_EQ(all.exit, 1);
  EXPECT_THAT(all.out, HasSubstr("it is a document | bare images"));
}

TEST(Compare, JsonIsAnObjectForEachDifferenceAndASum) {
  const TemporaryFolder folder;
  const std::string mixed = Sample("report-mixed.afp"), less = folder / "less.afp";
  ASSERT_EQ(Kzica({"delete", mixed, "-p", "2-3", "-o", less}).exit, 0);
  const Result run = Kzica({"compare", mixed, less, "--json"});
  EXPECT_EQ(run.exit, 1);
  std::istringstream lines(run.out);
  std::string line;
  std::vector<nlohmann::json> objects;
  while (std::getline(lines, line)) objects.push_back(nlohmann::json::parse(line));
  ASSERT_EQ(objects.size(), 2U) << run.out;
  EXPECT_EQ(objects[0]["kind"], "pages");
  EXPECT_EQ(objects[0]["first"], (nlohmann::json{{"page", 2}, {"pages", 2}}));
  EXPECT_TRUE(objects[0]["second"].is_null());
  EXPECT_EQ(objects[1]["kind"], "summary");
  EXPECT_EQ(objects[1]["equal"], false);
  EXPECT_EQ(objects[1]["pages"], (nlohmann::json{6, 4}));
  EXPECT_EQ(objects[1]["same"], 4);
  EXPECT_EQ(objects[1]["onlyInFirst"], 2);
}

TEST(Compare, VisualIsWrittenBesideTheWords) {
  const TemporaryFolder folder;
  const std::string out = folder / "out.html";
  const Result run =
      Kzica({"compare", Sample("letter-g4.ica"), Sample("damaged-truncated.mda"), "--visual", out});
  EXPECT_EQ(run.exit, 1) << run.err;
  EXPECT_THAT(run.out, HasSubstr("page 1: "));
  const Bytes html = FileBytes(out);
  const std::string text(html.begin(), html.end());
  EXPECT_TRUE(text.starts_with("<!DOCTYPE html>"));
  EXPECT_TRUE(text.ends_with("</html>\n"));
  EXPECT_THAT(text, HasSubstr("letter-g4.ica"));
  const std::string own = folder.File("own.ica", FileBytes(Sample("letter-g4.ica")));
  EXPECT_EQ(Kzica({"compare", own, own, "--visual", own}).exit, 2);
  EXPECT_TRUE(FileBytes(own) == FileBytes(Sample("letter-g4.ica")));
}

}  // namespace
