// Standard input, output and error, whatever they are: closed, full, a pipe, a terminal.
// SIGALRM ends a run that waits for ever.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "Tests/Support/EditedDocuments.h"
#include "Tests/Tools/Program.h"
#include "Toolkit/Base/Printable.h"

namespace {

using testing::HasSubstr;
using testing::Not;

constexpr unsigned kPatience = 60;

std::string Text(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

// A file that is opened must not become one of them, and be printed into.
TEST(Streams, ThatAreClosedStayOutOfTheFiles) {
  const TemporaryFolder folder;
  const std::string grey =
      folder.File("grey.pgm", {'P', '5', ' ', '1', ' ', '1', ' ', '9', ' ', 5});
  const std::string out = folder / "out", copy = folder / "copy";
  for (const std::string line :
       {"create OUT GREY -c g4", "assemble OUT TEXT", "append COPY GREY -c g4",
        "append COPY GREY -c g4 --in-place", "extract REPORT OUT -f tif"}) {
    const auto words = Words(line, {{"OUT", out},
                                    {"COPY", copy},
                                    {"GREY", grey},
                                    {"TEXT", Sample("formatter.afp")},
                                    {"REPORT", Sample("report-g4.mda")}});
    Bytes expected;
    for (const std::vector<int>& closed :
         std::vector<std::vector<int>>{{}, {0}, {1}, {2}, {0, 2}, {1, 2}, {0, 1, 2}}) {
      std::filesystem::copy_file(Sample("report-g4.mda"), copy,
                                 std::filesystem::copy_options::overwrite_existing);
      const Result run = Kzica(words, {.closed = closed, .patience = kPatience});
      EXPECT_EQ(run.exit, 0) << line << testing::PrintToString(closed) << run.err;
      const Bytes written = FileBytes(line.starts_with("append") ? copy : out);
      if (closed.empty()) expected = written;
      EXPECT_TRUE(written == expected) << line << testing::PrintToString(closed);
    }
  }
}

TEST(Streams, OutputThatCannotBeWrittenIsAFailure) {
  for (const char* line : {"--help", "--version", "help info", "info FILE", "info FILE --json",
                           "text TEXT", "dump FILE", "check FILE", "extract FILE - -f png -p 2",
                           "extract FILE - -f raw -p 2", "create - ODD", "assemble - FILE"}) {
    const auto words = Words(line, {{"FILE", Sample("report-mixed.afp")},
                                    {"TEXT", Sample("formatter.afp")},
                                    {"ODD", Sample("odd.png")}});
    const Result closed = Kzica(words, {.closed = {1}});
    EXPECT_EQ(closed.exit, 1) << line;
    EXPECT_EQ(closed.err, "kzica: standard output: Bad file descriptor (status -5)\n") << line;
    const Result full = Kzica(words, {.output = "/dev/full"});
    EXPECT_EQ(full.exit, 1) << line;
    EXPECT_EQ(full.err, "kzica: standard output: No space left on device (status -5)\n") << line;
    EXPECT_EQ(Kzica(words, {.closed = {1, 2}}).exit, 1) << line;
  }
}

// Every command that reads, from a file as standard input, a pipe, and a named pipe.
TEST(Streams, InputMayComeFromAnywhere) {
  const TemporaryFolder folder;
  const std::string fifo = folder / "fifo", tif = folder / "all.tif", out = folder / "out";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0666), 0);
  ASSERT_EQ(Kzica({"extract", Sample("report-g4.mda"), tif, "--all"}).exit, 0);
  const struct {
    const char* line;
    std::string file;
  } cases[] = {{"info FILE -p z", Sample("report-g4.mda")},
               {"dump FILE", Sample("letter-g4.ica")},
               {"text FILE -p 2", Sample("formatter.afp")},
               {"check FILE", Sample("report-g4.mda")},
               {"extract FILE OUT.tif --all", Sample("report-g4.mda")},
               {"split FILE OUT -p 2", Sample("report-g4.mda")},
               {"assemble OUT FILE", Sample("report-mixed.afp")},
               {"delete FILE -p 1 -o OUT", Sample("report-g4.mda")},
               {"append FILE ODD -o OUT", Sample("report-g4.mda")},
               {"create OUT FILE", tif},
               {"create OUT FILE", Sample("odd.png")},
               {"info FILE", Sample("odd.png")}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    const auto run = [&](const std::string& file, const Conditions& conditions) {
      std::filesystem::remove(out);
      std::filesystem::remove(out + ".tif");
      Result result = Kzica(
          Words(c.line, {{"FILE", file}, {"OUT", out}, {"ODD", Sample("odd.png")}}), conditions);
      result.out += Text(FileBytes(out)) + Text(FileBytes(out + ".tif"));
      return result;
    };
    const auto write = [&] {
      return std::thread([&] { std::ofstream(fifo, std::ios::binary) << Text(FileBytes(c.file)); });
    };
    // But for the name of the file in it, everything is the same.
    const auto expectSame = [&](const Result& expected, Result result, const std::string& name) {
      for (std::string* text : {&result.out, &result.err}) {
        const size_t at = text->find(name);
        if (at != std::string::npos) text->replace(at, name.size(), c.file);
      }
      EXPECT_EQ(result.exit, expected.exit) << name;
      EXPECT_TRUE(result.out == expected.out) << name << result.out.substr(0, 500);
      EXPECT_EQ(result.err, expected.err) << name;
    };
    const Result expected = run(c.file, {});
    expectSame(expected, run("-", {.input = c.file, .patience = kPatience}), "standard input");
    expectSame(expected, run("/dev/stdin", {.input = c.file, .patience = kPatience}), "/dev/stdin");
    for (const std::string name : {"-", "/dev/stdin"}) {
      std::thread writer = write();
      const Result piped = run(name, {.input = fifo, .patience = kPatience});
      writer.join();
      expectSame(expected, piped, name == "-" ? "standard input" : name);
    }
    std::thread writer = write();
    expectSame(expected, run(fifo, {.patience = kPatience}), fifo);
    writer.join();
  }
  EXPECT_THAT(Kzica({"info", "-", "--json"}, {.input = Sample("letter-g4.ica")}).out,
              HasSubstr("\"file\":\"-\""));
  // Nobody writes, and somebody who writes nothing; the other files are read.
  const Result none = Kzica({"info", fifo, Sample("letter-g4.ica")}, {.patience = kPatience});
  EXPECT_EQ(none.exit, 1);
  EXPECT_EQ(none.err, "kzica: " + fifo + ": nobody writes into this pipe yet\nkzica: " + fifo +
                          ": nobody writes into this pipe (status -10)\n");
  EXPECT_THAT(none.out, HasSubstr("letter-g4.ica"));
  std::thread writer([&] { std::ofstream(fifo, std::ios::binary).flush(); });
  EXPECT_THAT(Kzica({"create", out, fifo}, {.patience = kPatience}).err,
              HasSubstr("not a png, tif, pnm or jpg picture"));
  writer.join();
  const Result closed = Kzica({"info", "-"}, {.closed = {0}});
  EXPECT_EQ(closed.exit, 1);
  EXPECT_EQ(closed.err, "kzica: standard input: Bad file descriptor (status -7)\n");
  for (const char* device : {"/dev/null", "/dev/zero"}) {
    EXPECT_THAT(Kzica({"create", out, device}, {.patience = kPatience}).err,
                HasSubstr("not a png, tif, pnm or jpg picture (status -9)"));
  }
}

TEST(Streams, NoOrdersReachATerminal) {
  using kz::Printable, kz::Unprintable;
  const struct {
    const char *text, *hex, *json, *blank;
  } cases[] = {
      {"plain \u00E4\u20AC\U0001F600", nullptr, nullptr, nullptr},
      {"\x1B[2J\a\x7F", "\\x1B[2J\\x07\\x7F", "\\u001b[2J\\u0007\\u007f", " [2J  "},
      {"\u0085\u009B1m\u00A0", "\\xC2\\x85\\xC2\\x9B1m\u00A0", "\\u0085\\u009b1m\u00A0",
       "  1m\u00A0"},
      {"a\u202Eb\u2066\u200F\u061C\u2028",
       "a\\xE2\\x80\\xAEb\\xE2\\x81\\xA6\\xE2\\x80\\x8F\\xD8\\x9C\\xE2\\x80\\xA8",
       "a\\u202eb\\u2066\\u200f\\u061c\\u2028", "a b    "},
      {"\xFF\xC0\x8A\xED\xA0\x80", "\\xFF\\xC0\\x8A\\xED\\xA0\\x80", nullptr, "      "},
      {"\x9B\xE2\x82", "\\x9B\\xE2\\x82", "\\ufffd\\ufffd\\ufffd", "   "},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Printable(c.text), c.hex != nullptr ? c.hex : c.text);
    EXPECT_EQ(Printable(c.text, Unprintable::Blank), c.blank != nullptr ? c.blank : c.text);
    if (c.json == nullptr) continue;
    EXPECT_EQ(Printable(c.text, Unprintable::Json), c.json);
  }

  const TemporaryFolder folder;
  const std::string orders = "a\x1B[2J\u009Bb\u202Ec\xFF\rd";
  const Bytes text = Bytes{0x2B, 0xD3, static_cast<unsigned char>(orders.size() + 2), 0xDA} +
                     Bytes(orders.begin(), orders.end());
  const std::string file = folder.File(
      orders, kz::test::Begin("D") + kz::test::NumberedPage(1, {}, Field(0xEE9B, text)) +
                  kz::test::End("D"));
  const std::map<std::string, std::string> names = {
      {"FILE", file}, {"OUT", folder / "out"}, {"ORDERS", orders}};
  for (const char* line :
       {"info FILE", "info FILE --json", "info FILE?", "check FILE", "dump FILE -e utf-8",
        "dump FILE -e utf-8 --json", "text FILE -e utf-8", "text FILE -e raw", "create OUT FILE",
        "extract FILE ORDERS", "ORDERS", "help ORDERS"}) {
    for (const bool terminal : {true, false}) {
      SCOPED_TRACE(std::string(line) + (terminal ? " on a terminal" : ""));
      const Result run = Kzica(Words(line, names), {.terminal = terminal, .folder = folder / ""});
      const std::string all = run.out + run.err;
      EXPECT_NE(all, "");
      if (std::string(line).starts_with("text") && !terminal) {
        EXPECT_THAT(all, HasSubstr("a\x1B[2J\u009Bb\u202Ec"));
        continue;
      }
      for (const char* order : {"\x1B", "\u009B", "\u202E", "\xFF", "\rd"}) {
        EXPECT_THAT(all, Not(HasSubstr(order)));
      }
    }
  }
}

}  // namespace
