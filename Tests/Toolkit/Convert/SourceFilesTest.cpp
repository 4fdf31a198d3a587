// Which files folders and lists stand for.
#include "Toolkit/Convert/SourceFiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "Tests/Support/TemporaryFolder.h"

namespace kz {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;

class SourceFilesTest : public testing::Test {
 protected:
  void Make(const std::string& name) {
    fs::create_directories(fs::path(m_folder / name).parent_path());
    m_folder.File(name, {'x'});
  }

  // "relative" of each, with its problem.
  std::vector<std::string> Find(const SourceRequest& request) {
    SourceFiles files(request);
    EXPECT_TRUE(files.Open().Ok());
    std::vector<std::string> found;
    SourceFile file;
    while (files.Next(file)) {
      found.push_back(file.relative + (file.problem.Ok() ? "" : ": " + file.problem.what));
      std::error_code ignored;
      EXPECT_EQ(file.problem.Ok(), fs::is_regular_file(file.path, ignored));
    }
    return found;
  }

  TemporaryFolder m_folder;
};

TEST_F(SourceFilesTest, AreFoundInFoldersInOrder) {
  for (const char* name : {"in/b.afp", "in/a.afp", "in/.hidden", "in/sub/z", "in/sub.x", "in/a/y",
                           "in/to/output", "other/far", "other/back"}) {
    Make(name);
  }
  ASSERT_EQ(mkfifo((m_folder / "in/pipe").c_str(), 0600), 0);
  fs::create_symlink("b.afp", m_folder / "in/link");
  fs::create_symlink("nowhere", m_folder / "in/broken");
  fs::create_symlink("..", m_folder / "in/sub/loop");  // to the folder around it
  fs::create_symlink("../other", m_folder / "in/elsewhere");
  fs::create_symlink("../in", m_folder / "other/in");  // and back
  EXPECT_THAT(
      Find({{m_folder / "in"}, "", m_folder / "in/to"}),
      ElementsAre(".hidden", "a.afp", "b.afp", "link", "sub.x", "broken: No such file or directory",
                  "a/y", "elsewhere/back", "elsewhere/far", "sub/z"));
  // The folder of the outputs may be a source itself.
  EXPECT_THAT(Find({{m_folder / "in/to"}, "", m_folder / "in/to"}), ElementsAre("output"));
}

TEST_F(SourceFilesTest, AreNamed) {
  Make("in/a.afp");
  Make("in/sub/b.afp");
  ASSERT_EQ(mkfifo((m_folder / "pipe").c_str(), 0600), 0);
  EXPECT_THAT(Find({{m_folder / "in/a.afp", m_folder / "none", m_folder / "pipe", m_folder / "in/"},
                    "",
                    ""}),
              ElementsAre("a.afp", "none: No such file or directory",
                          "pipe: only regular files can be read", "a.afp", "sub/b.afp"));
}

TEST_F(SourceFilesTest, StandInLists) {
  Make("in/a.afp");
  Make("in/b\nc.afp");
  const std::string folder = m_folder / "";
  const std::string below = PathBelow(folder);
  const std::string lines = folder + "in/a.afp\n\n" + folder + "./in/../in/a.afp";
  const std::string zeros = folder + "in/b\nc.afp" + '\0' + folder + "in/a.afp" + '\0';
  for (const auto& [text, expected] :
       {std::pair(lines, std::vector<std::string>{below + "/in/a.afp", below + "/in/a.afp"}),
        std::pair(zeros, std::vector<std::string>{below + "/in/b\nc.afp", below + "/in/a.afp"}),
        std::pair(std::string(), std::vector<std::string>{})}) {
    const std::string list = m_folder.File("list", {text.begin(), text.end()});
    EXPECT_EQ(Find({{}, list, ""}), expected);
  }
  // Names beyond what is read at once, and one that is no path.
  std::string many;
  for (int i = 0; i < 5000; ++i) many += folder + "in/a.afp\n";
  many += std::string(300000, 'x');
  const std::vector<std::string> found =
      Find({{}, m_folder.File("list", {many.begin(), many.end()}), ""});
  ASSERT_EQ(found.size(), 5001u);
  EXPECT_TRUE(found.back().ends_with(": File name too long"));
  SourceFiles missing({{}, m_folder / "no-list", ""});
  EXPECT_EQ(missing.Open().status, K_ERROR_OPEN_READ);
}

TEST(SourcePaths, NeverLeadOut) {
  const struct {
    const char* path;
    const char* below;
  } cases[] = {{"a/b", "a/b"},     {"/a//b/", "a/b"},   {"./a/./b", "a/b"}, {"../a", "a"},
               {"a/../../b", "b"}, {"a/b/../c", "a/c"}, {"..", ""},         {"", ""},
               {"...", "..."},     {"a/..b", "a/..b"}};
  for (const auto& c : cases) EXPECT_EQ(PathBelow(c.path), c.below) << c.path;
}

}  // namespace
}  // namespace kz
