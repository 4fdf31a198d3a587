// Conversions in several runs: lists, shards, what is there already, and runs that are ended.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <set>

#include "Tests/Tools/ConvertFolder.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;

using ConvertRuns = ConvertFolder;

TEST_F(ConvertRuns, ListsAreRead) {
  Put("a.mda", NumberedDocument());
  Put("b\nb.mda", NumberedDocument());
  const std::string zeros = std::string("in/a.mda") + '\0' + "in/b\nb.mda" + '\0';
  const std::string list = m_folder.File("list", {zeros.begin(), zeros.end()});
  EXPECT_EQ(Convert("--list list --to out").exit, 0);
  EXPECT_THAT(Files(), ElementsAre("in/a.pdf", "in/b\nb.pdf"));
  fs::remove_all(Out(""));
  const std::string lines = "in/a.mda\n./in/../in/sub/none.mda";
  const std::string input = m_folder.File("lines", {lines.begin(), lines.end()});
  const Result run = Convert("--list - --to out", {.input = input});
  EXPECT_EQ(run.exit, 1);
  EXPECT_THAT(run.err, HasSubstr("./in/../in/sub/none.mda: No such file"));
  EXPECT_THAT(Files(), ElementsAre("in/a.pdf"));
}

TEST_F(ConvertRuns, ShardsShareOutTheSources) {
  for (int i = 0; i < 40; ++i) {
    Put(Numbered(i % 3 == 0 ? "f/" : "g/", i), NumberedDocument({""}, i));
  }
  ASSERT_EQ(Convert("in --to whole --report whole.jsonl").exit, 0);
  std::set<std::string> sources;
  for (int shard : {3, 1, 4, 2, 3}) {  // in any order, and again
    const std::string k = std::to_string(shard);
    ASSERT_EQ(Convert("in --to out --shard " + k + "/4 --report " + k + ".jsonl").exit, 0);
  }
  size_t lines = 0;
  for (const char* report : {"1.jsonl", "2.jsonl", "3.jsonl", "4.jsonl"}) {
    for (const auto& [source, line] : Lines(report)) sources.insert(source);
    lines += Lines(report).size();
    EXPECT_GT(Lines(report).size(), 0u);
  }
  EXPECT_EQ(sources.size(), 40u);
  EXPECT_EQ(lines, 40u);
  ASSERT_EQ(Files(), Files("whole"));
  for (const std::string& name : Files()) {
    EXPECT_EQ(FileBytes(Out(name)), FileBytes(m_folder / ("whole/" + name))) << name;
  }
  const Conditions here = {.folder = m_folder / ""};
  Result joined = Kzica({"report", "1.jsonl", "2.jsonl", "3.jsonl", "4.jsonl", "--json"}, here);
  EXPECT_EQ(joined.exit, 0) << joined.err;
  const auto object = nlohmann::json::parse(joined.out);
  EXPECT_EQ(object["done"], 40);
  EXPECT_EQ(object["pages"], 40);
  EXPECT_EQ(object["slowest"].size(), 10u);
  joined = Kzica({"report", "1.jsonl", "4.jsonl"}, here);
  EXPECT_EQ(joined.exit, 1);
  EXPECT_THAT(joined.out, HasSubstr("shard 2/4 has no report of a run that ended\nshard 3/4 has"));
}

TEST_F(ConvertRuns, WhatIsThereIsSkippedUnlessTheSourceIsNewer) {
  const std::string a = Put("a.mda", NumberedDocument());
  Put("b.mda", NumberedDocument());
  Put("bad.mda", FileBytes(Sample("damaged-truncated.mda")));
  const struct {
    const char* words;
    const char* missing;
  } cases[] = {{"in --to out", "b.pdf"},
               {"in --to out -f png --per page", "b-2.png"},
               {"in --to out -f png", "b-3.png"},
               {"in --to out --per group", "b-ungrouped.pdf"}};
  for (const auto& c : cases) {
    fs::remove_all(Out(""));
    fs::remove(m_folder / "report");
    const std::string words = std::string(c.words) + " --report report --skip-existing";
    EXPECT_THAT(Convert(words).out, HasSubstr("3 files: 2 done, 1 failed"));
    // What failed is tried again by its report.
    EXPECT_THAT(Convert(words).out, HasSubstr("3 files: 2 skipped, 1 failed"));
    EXPECT_THAT(Convert(std::string(c.words) + " --skip-existing").out, HasSubstr("3 skipped"));
    fs::remove(Out(c.missing));
    EXPECT_THAT(Convert(words).out, HasSubstr("3 files: 1 done, 1 skipped, 1 failed"));
    fs::last_write_time(a, fs::file_time_type::clock::now() + std::chrono::hours(1));
    EXPECT_THAT(Convert(words).out, HasSubstr("3 files: 1 done, 1 skipped, 1 failed")) << c.words;
    fs::last_write_time(a, fs::file_time_type::clock::now() - std::chrono::hours(1));
    const Result joined = Kzica({"report", "report"}, {.folder = m_folder / ""});
    EXPECT_THAT(joined.out, HasSubstr("3 files: 2 done, 1 failed"));
    EXPECT_EQ(joined.exit, 1);
  }
}

// Whenever it is killed: what stands in the report is there and whole, nothing is there in
// part, and a later run makes it what one run makes.
TEST_F(ConvertRuns, KilledRunsGoOn) {
  constexpr int documents = 120;
  for (int i = 0; i < documents; ++i) {
    Put(Numbered("", i), NumberedDocument({"", "", ""}, 3 * i));
  }
  const auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(Convert("in --to whole -f tif -j 2").exit, 0);
  const std::chrono::duration<double, std::micro> taken = std::chrono::steady_clock::now() - start;
  int killed = 0;
  for (int i = 1; i <= 10; ++i) {
    const Result run = Convert("in --to out -f tif -j 2 --skip-existing --report report",
                               {.killAfter = static_cast<int>(taken.count() * i / 10)});
    killed += run.signal == SIGKILL;
    for (const std::string& name : Files()) {
      if (name.ends_with(".tmp")) continue;
      ASSERT_EQ(FileBytes(Out(name)), FileBytes(m_folder / ("whole/" + name))) << name;
    }
    if (!fs::exists(m_folder / "report")) continue;
    const Bytes bytes = FileBytes(m_folder / "report");
    ASSERT_TRUE(bytes.empty() || bytes.back() == '\n');
    for (const auto& [source, line] : Lines("report")) {
      for (const auto& output : line["outputs"]) {
        EXPECT_TRUE(fs::exists(m_folder / output.get<std::string>())) << output;
      }
    }
    if (i % 4 == 0) {
      fs::remove_all(Out(""));
      fs::remove(m_folder / "report");
    }
  }
  EXPECT_GT(killed, 0);
  ASSERT_EQ(Convert("in --to out -f tif --skip-existing --report report").exit, 0);
  ASSERT_EQ(Files(), Files("whole"));
  for (const std::string& name : Files()) {
    EXPECT_EQ(FileBytes(Out(name)), FileBytes(m_folder / ("whole/" + name))) << name;
  }
  EXPECT_EQ(Lines("report").size(), size_t{documents});
}

TEST_F(ConvertRuns, AnEndedRunLeavesNothingUnfinished) {
  for (int i = 0; i < 60; ++i) Put(Numbered("", i), NumberedDocument());
  for (const int sent : {SIGINT, SIGTERM}) {
    for (const int delay : {5000, 20000, 40000}) {
      const Result run = Convert("in --to out -j 2 --report report", {.meet = [&](pid_t child) {
                                   usleep(static_cast<useconds_t>(delay));
                                   kill(child, sent);
                                 }});
      EXPECT_TRUE(run.signal == sent || run.exit == 0);
      for (const std::string& name : Files()) EXPECT_TRUE(name.ends_with(".pdf")) << name;
    }
  }
}

TEST_F(ConvertRuns, DisksThatTakeNothingAreTold) {
  for (int i = 0; i < 5; ++i) Put(Numbered("", i), NumberedDocument());
  Put("large.ica", FileBytes(Sample("letter-g4.ica")));
  // Beyond this size no file can be written: the others are.
  const Result run = Convert("in --to out", {.fileSize = 50000});
  EXPECT_EQ(run.exit, 1);
  EXPECT_THAT(run.err, HasSubstr("in/large.ica: out/large.pdf: File too large"));
  EXPECT_EQ(Files().size(), 5u);
  const Result full = Convert("in --to out --report /dev/full");
  EXPECT_EQ(full.exit, 1);
  EXPECT_THAT(full.err, HasSubstr("/dev/full: No space left on device"));
}

TEST_F(ConvertRuns, ProgressIsForTerminals) {
  for (int i = 0; i < 200; ++i) Put(Numbered("", i), NumberedDocument());
  const Result shown = Convert("in --to out", {.terminal = true});
  EXPECT_EQ(shown.exit, 0);
  EXPECT_THAT(shown.out, HasSubstr("200 files: 200 done"));
  const Result plain = Convert("in --to out");
  EXPECT_EQ(plain.err, "");
  EXPECT_THAT(plain.out, testing::Not(HasSubstr("\r")));
  EXPECT_EQ(Convert("in --to out -q").out, "");
}

}  // namespace
