#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "Tests/Command/PictureFiles.h"
#include "Tests/Command/Program.h"
#include "Tests/Kernel/TemporaryFolder.h"

namespace {

using testing::HasSubstr;

TEST(Info, SaysInWordsWhatAPageIs) {
  const Result run = Kzica({"info", Sample("report-mixed.afp"), "--page", "3"});
  EXPECT_EQ(run.exit, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out, Sample("report-mixed.afp") +
                         "\n"
                         "  container     MO:DCA with carriage control\n"
                         "  page          3 of 6\n"
                         "  size          333 x 777 pixels\n"
                         "  depth         1 bit per pixel\n"
                         "  resolution    150 x 100 dpi\n"
                         "  compression   CCITT Group 3 Fax\n"
                         "  format        310\n"
                         "  uncompressed  32634 bytes, top-down\n");
}

TEST(Info, PrintsOneJsonObjectPerFile) {
  const Result run =
      Kzica({"info", Sample("letter-g4.ica"), Sample("report-g4.mda"), "--json", "-p", "1"});
  ASSERT_EQ(run.exit, 0);
  std::istringstream lines(run.out);
  std::string first, second, end;
  std::getline(lines, first);
  std::getline(lines, second);
  EXPECT_FALSE(std::getline(lines, end));
  EXPECT_EQ(nlohmann::json::parse(first), nlohmann::json({{"file", Sample("letter-g4.ica")},
                                                          {"container", "IOCA"},
                                                          {"format", 79},
                                                          {"compression", "CCITT Group 4 Fax"},
                                                          {"page", 1},
                                                          {"pages", 1},
                                                          {"width", 1728},
                                                          {"height", 2200},
                                                          {"bitsPerPixel", 1},
                                                          {"xResolution", 200},
                                                          {"yResolution", 200},
                                                          {"bytes", 475200},
                                                          {"rowOrder", "top-down"}}));
  const nlohmann::json report = nlohmann::json::parse(second);
  EXPECT_EQ(report["container"], "MO:DCA");
  EXPECT_EQ(report["format"], 73);
  EXPECT_EQ(report["pages"], 3);
}

TEST(Info, OneBadFileDoesNotStopTheOthers) {
  const std::vector<std::string> files = {"damaged-length.mda", "letter-g4.ica", "nothing",
                                          "letter-scattered.afp"};
  std::vector<std::string> arguments = {"info", "--json"};
  for (const std::string& file : files) arguments.push_back(Sample(file));
  const Result run = Kzica(arguments);
  EXPECT_EQ(run.exit, 1);
  EXPECT_THAT(run.out, HasSubstr("letter-g4.ica"));
  EXPECT_THAT(run.out, HasSubstr("letter-scattered.afp"));
  EXPECT_EQ(run.err, "kzica: " + Sample("damaged-length.mda") +
                         ": there is no valid structured field at byte 64 (status -9)\n"
                         "kzica: " +
                         Sample("nothing") + ": No such file or directory (status -10)\n");
}

TEST(Info, DamageBehindThePageIsReportedToo) {
  const Result run = Kzica({"info", Sample("damaged-truncated.mda")});
  EXPECT_EQ(run.exit, 1);
  EXPECT_THAT(run.out, HasSubstr("page          1 of 1"));
  EXPECT_EQ(run.err, "kzica: " + Sample("damaged-truncated.mda") +
                         ": the file ends within the structured field at byte 8431 (status -7)\n");
}

TEST(Info, PagesThatAreNotThereAreErrors) {
  EXPECT_THAT(Kzica({"info", Sample("report-g4.mda"), "-p", "z"}).out, HasSubstr("3 of 3"));
  const Result beyond = Kzica({"info", Sample("report-g4.mda"), "-p", "4"});
  EXPECT_EQ(beyond.exit, 1);
  EXPECT_EQ(beyond.out, "");
  EXPECT_THAT(beyond.err, HasSubstr("page 4: there is no such page, the last is page 3"));
  EXPECT_EQ(Kzica({"info", Sample("report-g4.mda"), "-p", "1-2"}).exit, 2);
}

TEST(Command, HelpAndVersionGoToStandardOutput) {
  for (const char* line : {"--help", "info --help", "extract --help", "create --help",
                           "append --help", "insert --help", "replace --help", "--version"}) {
    const Result run = Kzica(Words(line));
    EXPECT_EQ(run.exit, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_NE(run.out, "");
  }
  EXPECT_THAT(Kzica({"append", "--help"}).out, HasSubstr("--in-place"));
  EXPECT_EQ(Kzica({"help", "append"}).out, Kzica({"append", "--help"}).out);
  EXPECT_EQ(Kzica({"help"}).out, Kzica({"--help"}).out);
}

}  // namespace
