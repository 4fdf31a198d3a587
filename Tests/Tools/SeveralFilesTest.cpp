// Commands that take several files: each file gives what it gives alone, in the order of
// the command line, and one that can't be read ends nothing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "Tests/Support/FramedRecords.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Tools/Program.h"

namespace {

using testing::HasSubstr;

using Lines = std::vector<std::string>;

constexpr unsigned kPatience = 60;

Lines LinesOf(const std::string& text) {
  Lines lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

class SeveralFiles : public testing::Test {
 protected:
  Result Run(const std::string& command, const Lines& files, Conditions conditions = {}) const {
    Lines arguments = Words(command);
    arguments.insert(arguments.end(), files.begin(), files.end());
    conditions.patience = kPatience;
    return Kzica(arguments, conditions);
  }

  // As every command must: what the files, of m_files, give alone, joined, and the same complaints.
  void ExpectJoined(const std::string& command, const Lines& files,
                    const std::function<std::string(const std::string& file, bool first,
                                                    const std::string& alone)>& join) const {
    SCOPED_TRACE(command);
    std::string out, err;
    int exit = 0;
    std::map<std::string, Result> ofOne;
    for (const std::string& file : m_files) ofOne[file] = Run(command, {file});
    for (size_t i = 0; i < files.size(); ++i) {
      const Result& alone = ofOne[files[i]];
      out += join(files[i], i == 0, alone.out);
      err += alone.err;
      if (exit == 0 || alone.exit == 1) exit = alone.exit;
    }
    const Result joined = Run(command, files);
    EXPECT_EQ(joined.out, out);
    EXPECT_EQ(joined.err, err);
    EXPECT_EQ(joined.exit, exit);
  }

  TemporaryFolder m_folder;
  // Sound, damaged, no document at all, not there, and sound again.
  const Lines m_files = {Sample("formatter.afp"), Sample("damaged-length.mda"),
                         m_folder.File("note,\"a\"", {'n', 'o', 't', 'e'}), m_folder / "no-such",
                         Sample("letter-g4.ica")};
};

TEST_F(SeveralFiles, AreDumpedUnderTheirNames) {
  ExpectJoined("dump", m_files, [](const std::string& file, bool first, const std::string& alone) {
    return (first ? "==> " : "\n==> ") + file + " <==\n" + alone;
  });
  ExpectJoined("dump --json", m_files, [](const std::string& file, bool, const std::string& alone) {
    std::string named;
    for (const std::string& line : LinesOf(alone)) {
      named += "{\"file\":" + nlohmann::json(file).dump() + "," + line.substr(1) + "\n";
    }
    return named;
  });
}

TEST_F(SeveralFiles, AreIndexedInOneTable) {
  ExpectJoined(
      "index", m_files, [&](const std::string& file, bool first, const std::string& alone) {
        const std::string name = file == m_files[2] ? m_folder / "" : file;
        std::string rows = first ? "file,level,group,first_page,last_page,tag,value\n" : "";
        const Lines lines = LinesOf(alone);
        for (size_t i = 1; i < lines.size(); ++i) rows += name + "," + lines[i] + "\n";
        return rows;
      });
  ExpectJoined("index --json", m_files,
               [](const std::string&, bool, const std::string& alone) { return alone; });
  // A name that needs quotes.
  const std::string copy = m_folder / "a,\"b\".afp";
  std::filesystem::copy_file(Sample("formatter.afp"), copy);
  EXPECT_THAT(Run("index", {copy, copy}).out,
              HasSubstr("\n\"" + m_folder / "a,\"\"b\"\".afp\",group,PGP00001,1,2,,\n"));
}

TEST_F(SeveralFiles, GiveTheirTextInTheirOrder) {
  Lines files;
  for (int i = 0; i < 12; ++i) files.insert(files.end(), m_files.begin(), m_files.end());
  for (const char* threads : {"-j 1", "-j 2", "-j 7"}) {
    bool printed = false;
    ExpectJoined(std::string("text ") + threads, files,
                 [&](const std::string&, bool, const std::string& alone) {
                   const bool feed = printed && !alone.empty();
                   printed = printed || !alone.empty();
                   return (feed ? "\f" : "") + alone;
                 });
    ExpectJoined(std::string("text --json ") + threads, files,
                 [](const std::string&, bool, const std::string& alone) { return alone; });
  }
  EXPECT_EQ(
      Run("text -p 2,1 -j 2", {Sample("formatter.afp"), Sample("formatter.afp")}).out,
      "Second page of text\n\fFirst page of\ntext\n\fSecond page of text\n\fFirst page of\ntext\n");
  for (const char* wrong : {"text -j 0", "text -j -1", "text -j x", "text -j 99999999999"}) {
    EXPECT_EQ(Run(wrong, m_files).exit, 2) << wrong;
  }
}

TEST_F(SeveralFiles, GiveTheirPicturesInTheirOrder) {
  const std::string letter = Sample("letter-g4.ica"), report = Sample("report-g4.mda");
  const struct {
    const char* out;
    Lines written;
  } cases[] = {
      {"%f-%d.png", {"letter-g4-1.png", "report-g4-1.png", "report-g4-2.png", "report-g4-3.png"}},
      {"%d.png", {"1.png", "2.png", "3.png", "4.png"}}};
  for (const auto& c : cases) {
    const TemporaryFolder out;
    ASSERT_EQ(Run("extract -a", {letter, report, out / c.out}).exit, 0);
    ASSERT_EQ(out.Names(), c.written);
    for (int i = 1; i <= 3; ++i) {
      const std::string alone = m_folder / "alone.png";
      ASSERT_EQ(Run("extract -p " + std::to_string(i), {report, alone}).exit, 0);
      EXPECT_EQ(FileBytes(out / c.written[static_cast<size_t>(i)]), FileBytes(alone)) << i;
    }
  }
  const TemporaryFolder out;
  ASSERT_EQ(Run("extract -a", {report, letter, report, out / "all.pdf"}).exit, 0);
  const Bytes pdf = FileBytes(out / "all.pdf");
  EXPECT_THAT(std::string(pdf.begin(), pdf.end()), HasSubstr("/Count 7 "));
  // What can't be read keeps nothing else from its place.
  const Result partly =
      Run("extract", {m_files[0], m_files[1], m_files[3], m_files[4], out / "%f.png"});
  EXPECT_EQ(partly.exit, 1);
  EXPECT_THAT(partly.err, testing::AllOf(HasSubstr(m_files[1]), HasSubstr(m_files[3])));
  EXPECT_EQ(out.Names(), (Lines{"all.pdf", "formatter.png", "letter-g4.png"}));
  for (const Lines& wrong : {Lines{letter, report, out / "one.png"},
                             Lines{report, report, out / "%f.png"}, Lines{letter}}) {
    const Result refused = Run("extract -a", wrong);
    EXPECT_EQ(refused.exit, 2) << refused.err;
  }
  EXPECT_EQ(out.Names().size(), 3U);
}

// One copy of a pipe, or of framed records, serves all that read it, several at a time.
TEST_F(SeveralFiles, MayBeTheSameOneThatCanBeReadOnce) {
  const std::string framed = m_folder.File("framed.afp",
                                           Framed(RecordsOf(FileBytes(Sample("formatter.afp"))),
                                                  {kz::RecordFraming::CrLf})),
                    fifo = m_folder / "fifo";
  const std::string alone = Run("text", {Sample("formatter.afp")}).out;
  ASSERT_NE(alone, "");
  ASSERT_EQ(Run("text", {framed}).out, alone);
  ASSERT_EQ(mkfifo(fifo.c_str(), 0666), 0);
  std::thread writer([&] {
    std::ofstream(fifo, std::ios::binary)
        << std::ifstream(Sample("formatter.afp"), std::ios::binary).rdbuf();
  });
  Lines files;
  std::string expected;
  for (int i = 0; i < 20; ++i) {
    files.insert(files.end(), {framed, "-", fifo});
    for (int n = 0; n < 3; ++n) expected += (expected.empty() ? "" : "\f") + alone;
  }
  const Result run = Run("text -j 4", files, {.input = Sample("formatter.afp")});
  writer.join();
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out, expected);
}

// The rest of many files isn't even opened: nothing is said of the last.
TEST_F(SeveralFiles, AreNotReadWhenNobodyReadsOn) {
  Lines files(200, Sample("formatter.afp"));
  files.push_back(m_folder / "no-such");
  for (const char* command : {"text -j 1", "text -j 2", "index", "dump"}) {
    const Result run = Run(command, files, {.output = "/dev/full"});
    EXPECT_EQ(run.exit, 1) << command;
    EXPECT_EQ(run.err, "kzica: standard output: No space left on device (status -5)\n") << command;
  }
}

}  // namespace
