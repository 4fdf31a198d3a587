// Edits that are killed at any moment leave the old or the new document.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <random>

#include "Tests/Support/Sanitized.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Tools/Program.h"

namespace {

#ifdef KZ_SANITIZED
constexpr int kUsualKills = 40;  // programs take several times as long
#else
constexpr int kUsualKills = 200;
#endif

// How often each edit is killed; KZ_KILLS=1000 in the environment asks for more.
int Kills() {
  const char* wanted = std::getenv("KZ_KILLS");
  return wanted != nullptr ? std::atoi(wanted) : kUsualKills;
}

class Killed : public testing::TestWithParam<const char*> {};

TEST_P(Killed, EditLeavesTheOldOrTheNewDocument) {
  const TemporaryFolder folder;
  const Bytes before = FileBytes(Sample("report-g4.mda"));
  const std::string file = folder.File("file.mda", before);
  const std::vector<std::string> edit = Words(
      GetParam(),
      {{"FILE", file}, {"LETTER", Sample("letter.png")}, {"REPORT", Sample("report-g4.mda")}});
  const auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(Kzica(edit).exit, 0);
  const std::chrono::duration<double, std::micro> taken = std::chrono::steady_clock::now() - start;
  const Bytes after = FileBytes(file);
  ASSERT_TRUE(after != before);

  const int wanted = Kills();
  // Only kills that meet the edit count: the span of delays follows how long the
  // edit takes at the moment. Some must come while the new document is being written,
  // a short time where the program takes long to begin.
  std::mt19937 random(1);
  double span = taken.count();
  int kills = 0, temporary = 0, tries = 0;
  for (; (kills < wanted || temporary == 0) && tries < 20 * wanted; ++tries) {
    folder.File("file.mda", before);
    const int delay = std::uniform_int_distribution<int>(0, static_cast<int>(span))(random);
    const Result run = Kzica(edit, {.killAfter = delay});
    const bool killed = run.signal == SIGKILL;
    ASSERT_TRUE(killed || run.exit == 0) << run.err;
    span = std::max(1000.0, span * (killed ? 1.05 : 0.9));
    kills += killed;
    const Bytes found = FileBytes(file);
    ASSERT_TRUE(found == after || (killed && found == before)) << "after " << delay << " us";
    if (folder.Names().size() > 1) {
      ++temporary;
      // A later run, successful, takes away what the killed one left.
      if (temporary % 4 == 1) {
        folder.File("file.mda", before);
        ASSERT_EQ(Kzica(edit).exit, 0);
        ASSERT_TRUE(FileBytes(file) == after);
        ASSERT_EQ(folder.Names(), std::vector<std::string>{"file.mda"});
      }
    }
  }
  EXPECT_GE(kills, wanted);
  EXPECT_GT(temporary, 0) << "no kill came while the new document was being written";
}

INSTANTIATE_TEST_SUITE_P(
    Edits, Killed,
    testing::Values("append FILE LETTER LETTER", "insert FILE LETTER --after 1",
                    "replace FILE LETTER -p 3", "delete FILE -p 1,3",
                    "assemble FILE FILE:z-1 REPORT", "create FILE LETTER"),
    [](const auto& edit) {
      return std::string(edit.param).substr(0, std::string(edit.param).find(' '));
    });

}  // namespace
