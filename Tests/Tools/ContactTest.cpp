#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "Tests/Support/FileBuilder.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Tools/Pixes.h"
#include "Tests/Tools/Program.h"

namespace {

using testing::HasSubstr;
using testing::Not;

std::string TextOfPdf(const std::string& path) {
  std::string text;
  FILE* pipe = ::popen(("pdftotext -layout " + path + " -").c_str(), "r");
  if (pipe == nullptr) return text;
  char piece[4096];
  for (size_t n = 0; (n = std::fread(piece, 1, sizeof(piece), pipe)) > 0;) text.append(piece, n);
  ::pclose(pipe);
  return text;
}

TEST(Contact, AFileThatCantBeReadInTheMiddleLeavesTheOthers) {
  const TemporaryFolder folder;
  const std::string out = folder / "out.pdf";
  const Result run = Kzica({"contact", Sample("report-g4.mda"), Sample("odd.png"),
                            folder / "none.afp", Sample("letter-g4.ica"), out});
  EXPECT_EQ(run.exit, 1);
  EXPECT_THAT(run.err, HasSubstr("odd.png"));
  EXPECT_THAT(run.err, HasSubstr("none.afp"));
  const std::string text = TextOfPdf(out);
  EXPECT_THAT(text, HasSubstr("report-g4.mda"));
  EXPECT_THAT(text, HasSubstr("letter-g4.ica"));
  EXPECT_THAT(text, Not(HasSubstr("odd.png")));
  EXPECT_THAT(text, HasSubstr("3"));
}

TEST(Contact, PagesAreNumberedAsInTheirFileAndMayBeChosen) {
  const TemporaryFolder folder;
  const std::string out = folder / "out.pdf";
  ASSERT_EQ(Kzica({"contact", Sample("report-mixed.afp"), out, "-p", "z,2-4"}).exit, 0);
  std::string numbers;
  for (const char c : TextOfPdf(out)) {
    if (c > ' ') numbers += c;
  }
  EXPECT_EQ(numbers, "6234");
  const std::string wide = folder / "wide.png", narrow = folder / "narrow.png";
  ASSERT_EQ(Kzica({"contact", Sample("report-mixed.afp"), wide, "--size", "80"}).exit, 0);
  ASSERT_EQ(
      Kzica({"contact", Sample("report-mixed.afp"), narrow, "--size", "80", "--columns", "2"}).exit,
      0);
  const PixPointer six = ReadPix(wide), two = ReadPix(narrow);
  EXPECT_EQ(pixGetWidth(six.get()), 2 * 12 + 6 * 80 + 5 * 8);
  EXPECT_EQ(pixGetWidth(two.get()), 2 * 12 + 2 * 80 + 8);
}

TEST(Contact, WhatCantBeIsSaidAndLeavesNoFile) {
  const TemporaryFolder folder;
  const std::string file = Sample("report-g4.mda");
  const struct {
    std::vector<std::string> arguments;
    int exit;
    const char* message;
  } cases[] = {
      {{"contact", file, folder / "out.svg"}, 2, "png nor pdf"},
      {{"contact", file, "-"}, 2, "--format"},
      {{"contact", file, folder / "out.png", "--columns", "0"}, 2, "--columns"},
      {{"contact", file, folder / "out.png", "--size", "5"}, 2, "--size"},
      {{"contact", file, folder / "out.png", "-p", "99"}, 1, "page 99"},
      {{"contact", Sample("odd.png"), folder / "out.pdf"}, 1, "neither"},
      {{"contact", file, folder / "none/out.png"}, 1, "out.png"},
  };
  for (const auto& one : cases) {
    const Result run = Kzica(one.arguments);
    EXPECT_EQ(run.exit, one.exit) << run.err;
    EXPECT_THAT(run.err, HasSubstr(one.message));
  }
  EXPECT_TRUE(folder.Names().empty());
  const std::string own = folder.File("own.png", FileBytes(file));
  EXPECT_EQ(Kzica({"contact", file, own, own}).exit, 2);
  EXPECT_TRUE(FileBytes(own) == FileBytes(file));
  const Result damaged = Kzica({"contact", Sample("damaged-truncated.mda"), folder / "out.png"});
  EXPECT_EQ(damaged.exit, 3);
}

TEST(Contact, StandardInputAndOutputWillDo) {
  const TemporaryFolder folder;
  Conditions conditions;
  conditions.input = Sample("report-g4.mda");
  const Result streamed = Kzica({"contact", "-", "-", "-f", "png"}, conditions);
  EXPECT_EQ(streamed.exit, 0) << streamed.err;
  ASSERT_EQ(Kzica({"contact", Sample("report-g4.mda"), folder / "out.png"}).exit, 0);
  EXPECT_TRUE(Bytes(streamed.out.begin(), streamed.out.end()) == FileBytes(folder / "out.png"));
}

}  // namespace
