#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Tests/Command/PictureFiles.h"
#include "Tests/Command/Program.h"
#include "Tests/Kernel/TemporaryFolder.h"

namespace {

using testing::HasSubstr;

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
