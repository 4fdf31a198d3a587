// Reports are written, read back and joined.
#include "Toolkit/Convert/ReportJoin.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Tests/Support/TemporaryFolder.h"
#include "Toolkit/Convert/ConvertReport.h"

namespace kz {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

SourceResult Source(const std::string& name, SourceStatus status, double seconds = 1) {
  SourceResult result;
  result.source = name;
  result.status = status;
  result.outputs = {"to/" + name + ".pdf"};
  result.pages = 3;
  result.pictures = 2;
  result.passed = 1;
  result.seconds = seconds;
  result.bytesIn = 100;
  result.bytesOut = 50;
  if (status == SourceStatus::Failed) result.errors = {"page 2: it is cut"};
  return result;
}

class ReportJoinTest : public testing::Test {
 protected:
  std::string File(const std::string& name, const std::vector<std::string>& lines,
                   const std::string& rest = {}) {
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    text += rest;
    return m_folder.File(name, {text.begin(), text.end()});
  }
  static JoinedReport Join(const std::vector<std::string>& files, size_t slowest = 2) {
    JoinedReport joined;
    const Outcome outcome = JoinReports(files, slowest, joined);
    EXPECT_TRUE(outcome.Ok()) << outcome.what;
    return joined;
  }

  TemporaryFolder m_folder;
  const Shard m_first{1, 2}, m_second{2, 2};
};

TEST_F(ReportJoinTest, LinesSayWhatWasDone) {
  for (const std::string& name : {std::string("plain"), std::string("not \xff UTF-8 \x80"),
                                  std::string("line\nend \x1b[1m \"quoted\" \\ \xe2\x80\xa8")}) {
    SourceResult source = Source(name, SourceStatus::Failed, 1.25);
    source.outputs = {};
    source.warnings = {"one", "two"};
    const std::string line = ReportLine(source, m_second, 1000.5);
    EXPECT_EQ(line.find_first_of("\n\x1b"), std::string::npos);
    ReportEntry entry;
    ASSERT_TRUE(ReadReportLine(line, entry).Ok()) << line;
    EXPECT_EQ(entry.source.source, name);
    EXPECT_EQ(entry.source.status, source.status);
    EXPECT_EQ(entry.source.warnings, source.warnings);
    EXPECT_EQ(entry.source.errors, source.errors);
    EXPECT_EQ(entry.source.seconds, 1.25);
    EXPECT_EQ(entry.ended, 1000.5);
    EXPECT_EQ(entry.shard.Text(), "2/2");
    // Cut anywhere, it is no line.
    for (size_t cut = 0; cut < line.size(); ++cut) {
      EXPECT_FALSE(ReadReportLine(std::string_view(line).substr(0, cut), entry).Ok());
    }
  }
}

TEST_F(ReportJoinTest, TheNewestLineOfASourceCounts) {
  using enum SourceStatus;
  const struct {
    std::vector<std::pair<SourceStatus, double>> lines;  // with their times
    size_t done, skipped, failed;
  } cases[] = {
      {{{Failed, 1}, {Done, 2}}, 1, 0, 0},
      {{{Done, 2}, {Failed, 1}}, 1, 0, 0},  // the order of the files doesn't matter
      {{{Done, 1}, {Failed, 2}}, 0, 0, 1},
      {{{Done, 1}, {Skipped, 2}}, 1, 0, 0},
      {{{Failed, 1}, {Skipped, 2}}, 0, 0, 1},  // what is there isn't whole
      {{{Skipped, 1}, {Skipped, 2}}, 0, 1, 0},
      {{{Failed, 1}, {Done, 1}}, 1, 0, 0},
  };
  for (const auto& c : cases) {
    std::vector<std::string> files;
    for (const auto& [status, ended] : c.lines) {
      files.push_back(
          File("report" + std::to_string(files.size()),
               {ReportLine(Source("a", status), {}, ended), SummaryLine({}, {}, ended)}));
    }
    const JoinedReport joined = Join(files);
    EXPECT_EQ(joined.totals.done, c.done);
    EXPECT_EQ(joined.totals.skipped, c.skipped);
    EXPECT_EQ(joined.totals.failed, c.failed);
    EXPECT_EQ(joined.replaced, c.lines.size() - 1);
    EXPECT_EQ(joined.totals.pages, c.skipped > 0 ? 0u : 3u);
  }
}

TEST_F(ReportJoinTest, TotalsFailuresAndTheSlowest) {
  using enum SourceStatus;
  const std::string first =
      File("1", {ReportLine(Source("a", Done, 5), m_first, 1),
                 ReportLine(Source("b", Failed, 1), m_first, 2), SummaryLine({}, m_first, 3)});
  const std::string second =
      File("2", {ReportLine(Source("c", Done, 7), m_second, 1), SummaryLine({}, m_second, 3)});
  const JoinedReport joined = Join({first, second});
  EXPECT_EQ(joined.totals.done, 2u);
  EXPECT_EQ(joined.totals.pages, 9u);
  EXPECT_EQ(joined.totals.pictures, 6u);
  EXPECT_EQ(joined.totals.passed, 3u);
  EXPECT_EQ(joined.totals.bytesIn, 300);
  EXPECT_EQ(joined.totals.seconds, 13);
  ASSERT_EQ(joined.failed.size(), 1u);
  EXPECT_EQ(joined.failed[0].source, "b");
  ASSERT_EQ(joined.slowest.size(), 2u);
  EXPECT_EQ(joined.slowest[0].source, "c");
  EXPECT_EQ(joined.slowest[1].source, "a");
  EXPECT_TRUE(joined.unfinished.empty());
  EXPECT_TRUE(joined.warnings.empty());
}

TEST_F(ReportJoinTest, RunsThatDidNotEndAreTold) {
  using enum SourceStatus;
  const std::string line = ReportLine(Source("a", Done), m_first, 1);
  const std::string killed = File("killed", {line}, line.substr(0, 40));
  JoinedReport joined = Join({killed});
  EXPECT_THAT(joined.unfinished, ElementsAre("1/2", "2/2"));
  ASSERT_EQ(joined.warnings.size(), 1u);
  EXPECT_THAT(
      joined.warnings[0],
      HasSubstr(killed + ": a line is not whole or no line of a report, the first at byte " +
                std::to_string(line.size() + 1)));
  EXPECT_EQ(joined.totals.done, 1u);

  // The writer goes on in it, and the shard comes to its end.
  ReportWriter writer(m_first);
  ASSERT_TRUE(writer.Open(killed).Ok());
  ASSERT_TRUE(writer.Add(Source("b", Done)).Ok());
  ASSERT_TRUE(writer.Finish({}).Ok());
  joined = Join({killed});
  EXPECT_THAT(joined.unfinished, ElementsAre("2/2"));
  EXPECT_EQ(joined.totals.done, 2u);

  // Another report in which the run ended will do.
  const std::string again = File("again", {line, SummaryLine({}, m_first, 2)});
  EXPECT_THAT(Join({File("killed", {line}), again}).unfinished, ElementsAre("2/2"));
}

TEST_F(ReportJoinTest, FilesThatAreNoReportsAreTold) {
  const Bytes pattern = Pattern(100000);
  const JoinedReport joined = Join({m_folder.File("bytes", pattern), m_folder.File("empty", {})});
  EXPECT_EQ(joined.totals.Files(), 0u);
  EXPECT_EQ(joined.warnings.size(), 1u);
  JoinedReport none;
  const Outcome outcome = JoinReports({m_folder / "none"}, 1, none);
  EXPECT_EQ(outcome.status, K_ERROR_OPEN_READ);
  EXPECT_THAT(outcome.what, HasSubstr(m_folder / "none"));
}

TEST_F(ReportJoinTest, WhatFailedLastIsTriedAgain) {
  using enum SourceStatus;
  const std::string report = File(
      "report", {ReportLine(Source("a", Failed), {}, 1), ReportLine(Source("b", Failed), {}, 1),
                 ReportLine(Source("b", Done), {}, 2), ReportLine(Source("a", Skipped), {}, 2),
                 ReportLine(Source("c", Done), {}, 2)});
  std::vector<uint64_t> hashes;
  ASSERT_TRUE(FailedSources(report, hashes).Ok());
  EXPECT_THAT(hashes, ElementsAre(StableHash("a")));
  EXPECT_TRUE(FailedSources(m_folder / "none", hashes).Ok());
  EXPECT_TRUE(hashes.empty());
}

}  // namespace
}  // namespace kz
