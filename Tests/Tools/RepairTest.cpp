#include "Tests/Support/EditedDocuments.h"
#include "Tests/Tools/Program.h"

namespace kz::test {
namespace {

using testing::HasSubstr;

TEST(RepairCommand, WritesWhatCanBeReadAndSaysWhatCannot) {
  const TemporaryFolder folder;
  const Bytes sound = Begin("A") + NumberedPage(1) + NumberedPage(2) + End("A");
  const Bytes damaged = Begin("A") + NumberedPage(1) + Bytes(1000) + NumberedPage(2) + End("A");
  const std::string file = folder.File("damaged.mda", damaged);
  const std::string place = std::to_string((Begin("A") + NumberedPage(1)).size());
  const std::string out = folder / "out.mda";
  ASSERT_EQ(Kzica({"check", file, "-q"}).exit, 1);
  for (const bool dry : {true, false}) {
    std::vector<std::string> line = {"repair", file, "-o", out};
    if (dry) line.push_back("--dry-run");
    const Result run = Kzica(line);
    EXPECT_EQ(run.exit, 3) << run.err;
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, HasSubstr("warning: left out: 1000 bytes at byte " + place + "\n"));
    EXPECT_THAT(run.err, HasSubstr("pages of the result: 2\n"));
    EXPECT_EQ(folder.Names().size(), dry ? 1u : 2u);
    EXPECT_TRUE(FileBytes(file) == damaged);
  }
  EXPECT_TRUE(FileBytes(out) == sound);
  EXPECT_EQ(Kzica({"check", out}).exit, 0);
  const std::string streamed = folder / "streamed.mda";
  EXPECT_EQ(Kzica({"repair", file, "-o", "-"}, {.output = streamed}).exit, 3);
  EXPECT_TRUE(FileBytes(streamed) == sound);
  // A sound document is copied.
  const Result again = Kzica({"repair", out, "-o", folder / "again.mda"});
  EXPECT_EQ(again.exit, 0);
  EXPECT_THAT(again.err, HasSubstr("nothing to repair"));
  EXPECT_TRUE(FileBytes(folder / "again.mda") == sound);
}

TEST(RepairCommand, RefusesWhatItCannotDo) {
  const TemporaryFolder folder;
  const std::string file = folder.File("damaged.mda", Begin("A") + NumberedPage(1));
  const std::string none = folder.File("none", {'n', 'o', 'n', 'e'});
  const struct {
    std::vector<std::string> line;
    int exit;
    const char* says;
  } cases[] = {
      {{"repair", file}, 2, "say with -o where the result goes"},
      {{"repair", file, "-o", ""}, 2, "an empty name is no file"},
      {{"repair", folder / "gone", "-o", folder / "out"}, 1, "(status -10)"},
      {{"repair", none, "-o", folder / "out"}, 1, "neither an IOCA image nor"},
      {{"repair", file, "-o", folder / "gone/out"}, 1, "(status -14)"},
  };
  for (const auto& c : cases) {
    const Result run = Kzica(c.line);
    EXPECT_EQ(run.exit, c.exit) << c.says;
    EXPECT_THAT(run.err, HasSubstr(c.says));
    EXPECT_EQ(folder.Names(), (std::vector<std::string>{"damaged.mda", "none"})) << c.says;
  }
}

}  // namespace
}  // namespace kz::test
