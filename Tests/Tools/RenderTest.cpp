#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "Tests/Support/FileBuilder.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Tools/Program.h"

namespace {

using testing::HasSubstr;

std::string Start(const Bytes& bytes) {
  return {bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(std::min<size_t>(bytes.size(), 5))};
}

TEST(Render, EveryEndingAndFormatGivesItsKindOfFile) {
  const TemporaryFolder folder;
  const std::pair<const char*, const char*> kinds[] = {
      {"png", "\x89PNG"}, {"PDF", "%PDF"}, {"svg", "<?xml"}, {"html", "<!DOC"}};
  for (const auto& [ending, begin] : kinds) {
    const std::string out = folder / (std::string("page.") + ending);
    const Result run = Kzica({"render", Sample("report-g4.mda"), out, "-p", "2"});
    EXPECT_EQ(run.exit, 0) << run.err;
    EXPECT_TRUE(Start(FileBytes(out)).starts_with(begin)) << ending;
  }
  const Result streamed = Kzica({"render", Sample("report-g4.mda"), "-", "-f", "png", "-p", "2"});
  EXPECT_TRUE(Bytes(streamed.out.begin(), streamed.out.end()) == FileBytes(folder / "page.png"));
}

TEST(Render, SeveralPagesGoIntoOnePdfOrIntoNumberedFiles) {
  const TemporaryFolder folder;
  EXPECT_EQ(Kzica({"render", Sample("report-g4.mda"), folder / "p%02d.svg", "-p", "3,1"}).exit, 0);
  EXPECT_EQ(Kzica({"render", Sample("report-g4.mda"), folder / "all.pdf"}).exit, 0);
  EXPECT_EQ(folder.Names(), (std::vector<std::string>{"all.pdf", "p01.svg", "p03.svg"}));
}

TEST(Render, WhatCantBeIsSaidAndLeavesNoFile) {
  const TemporaryFolder folder;
  const std::string file = Sample("report-g4.mda");
  const struct {
    std::vector<std::string> arguments;
    int exit;
    const char* message;
  } cases[] = {
      {{"render", file, folder / "out.png"}, 2, "holds one page"},
      {{"render", file, folder / "out.tif", "-p", "1"}, 2, "png, pdf, svg and html"},
      {{"render", file, "-", "-p", "1"}, 2, "--format"},
      {{"render", file, folder / "out.png", "-p", "99"}, 1, "page 99"},
      {{"render", file, folder / "out.png", "-p", "1", "--dpi", "0"}, 2, "--dpi"},
      {{"render", file, folder / "out.png", "-p", "1", "--size", "0"}, 2, "--size"},
      {{"render", file, folder / "out.png", "-p", "1", "--size", "9", "--dpi", "72"}, 2, "--dpi"},
      {{"render", file, folder / "out.pdf", "--text", "loud"}, 2, "--text"},
      {{"render", Sample("odd.png"), folder / "out.pdf"}, 1, "neither"},
      {{"render", folder / "none.afp", folder / "out.pdf"}, 1, "none.afp"},
      {{"render", file, folder / "none/out.pdf"}, 1, "out.pdf"},
  };
  for (const auto& one : cases) {
    const Result run = Kzica(one.arguments);
    EXPECT_EQ(run.exit, one.exit) << run.err;
    EXPECT_THAT(run.err, HasSubstr(one.message));
  }
  EXPECT_TRUE(folder.Names().empty());
}

// What a page includes and the file lacks comes from the folder; without it there is a warning.
TEST(Render, ResourcesComeFromAFolder) {
  const TemporaryFolder folder;
  const std::string file = Sample("foreign/fop_extres.afp");
  const Result without = Kzica({"render", file, folder / "without.png"});
  EXPECT_EQ(without.exit, 3);
  EXPECT_THAT(without.err, HasSubstr("there is no "));
  const Result with =
      Kzica({"render", file, folder / "with.png", "--resources", Sample("foreign")});
  EXPECT_EQ(with.exit, 0) << with.err;
  EXPECT_GT(FileBytes(folder / "with.png").size(), FileBytes(folder / "without.png").size());
}

}  // namespace
