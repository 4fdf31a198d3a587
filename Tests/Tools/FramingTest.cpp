// Documents whose records another system framed: read by every command, never changed
// in place.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "Tests/Support/FramedRecords.h"
#include "Tests/Tools/Pixes.h"
#include "Tests/Tools/Program.h"
#include "Toolkit/Documents/UnframedFile.h"

namespace {

using testing::HasSubstr;

TEST(Framing, IsReadThrough) {
  const TemporaryFolder folder;
  const PixPointer expected = ReadPix(Sample("records.png"));
  for (const std::string framing : {"records with CR LF", "line ends before the first record"}) {
    SCOPED_TRACE(framing);
    std::string file = Sample("records-crlf.afp");
    if (framing.starts_with("line")) {
      kz::UnframedFile bare;
      ASSERT_TRUE(bare.Open(file).Ok());
      file = folder.File("led", Bytes{'\r', '\n'} + FileBytes(bare.Path()));
    }
    const std::string out = folder / "page.png",
                      line = "control\n  framing       " + framing + "\n";
    EXPECT_THAT(Kzica({"info", file}).out, HasSubstr(line));
    EXPECT_THAT(Kzica({"info", "-"}, {.input = file}).out, HasSubstr(line));
    EXPECT_THAT(Kzica({"info", file, "--json"}).out,
                HasSubstr(",\"framing\":\"" + framing + "\","));
    const Result check = Kzica({"check", file});
    EXPECT_EQ(check.exit, 0);
    EXPECT_THAT(check.out, testing::StartsWith(file + ": "));
    ASSERT_EQ(Kzica({"extract", file, out}).exit, 0);
    EXPECT_TRUE(SamePicture(ReadPix(out).get(), expected.get()));
  }
  EXPECT_EQ(Kzica({"info", Sample("report-g4.mda")}).out.find("framing"), std::string::npos);

  const Bytes document = FileBytes(Sample("report-mixed.afp"));
  for (const kz::Framing& framing : kFramings) {
    SCOPED_TRACE(kz::FramingName(framing));
    const std::string file = folder.File("framed", Framed(RecordsOf(document), framing));
    const std::string part = folder / "part", same = folder / "same";
    for (const char* command :
         {"dump FILE", "text FILE -p z", "split FILE OUT -p 2", "assemble OUT FILE:z,1",
          "delete FILE -p 1 -o OUT", "append FILE ODD -o OUT", "extract FILE OUT -f png -p z"}) {
      const auto run = [&](const std::string& input, const std::string& out) {
        return Kzica(Words(command, {{"FILE", input}, {"OUT", out}, {"ODD", Sample("odd.png")}}));
      };
      const Result framed = run(file, part), bare = run(Sample("report-mixed.afp"), same);
      EXPECT_EQ(framed.exit, 0) << command << framed.err;
      EXPECT_TRUE(FileBytes(part) == FileBytes(same)) << command;
      EXPECT_TRUE(framed.out == bare.out) << command;
      std::filesystem::remove(part);
      std::filesystem::remove(same);
    }
  }
}

TEST(Framing, IsNeitherLostNorBrokenByAChangeInPlace) {
  const TemporaryFolder folder;
  const Bytes before = FileBytes(Sample("records-crlf.afp"));
  const std::string file = folder.File("framed", before), out = folder / "out";
  const std::map<std::string, std::string> names = {
      {"FILE", file}, {"ODD", Sample("odd.png")}, {"OUT", out}};
  for (const char* line :
       {"append FILE ODD", "append FILE ODD --in-place", "append FILE ODD -o FILE",
        "insert FILE ODD --after 0", "replace FILE ODD -p 1", "delete FILE -p 1"}) {
    const Result run = Kzica(Words(line, names));
    EXPECT_EQ(run.exit, 1) << line;
    EXPECT_EQ(run.err, "kzica: " + file +
                           ": a change would take its framing (records with CR LF) away; with -o "
                           "OUT the result is written, unframed, to another file (status -9)\n");
  }
  // Nor is it overwritten by what comes from it.
  EXPECT_EQ(Kzica(Words("extract FILE FILE -f png", names)).exit, 2);
  EXPECT_EQ(Kzica(Words("split FILE FILE -p 1", names)).exit, 2);
  EXPECT_TRUE(FileBytes(file) == before);
  EXPECT_EQ(folder.Names(), std::vector<std::string>{"framed"});

  const Result elsewhere = Kzica(Words("replace FILE ODD -p 1 -o OUT", names));
  EXPECT_EQ(elsewhere.exit, 0);
  EXPECT_EQ(elsewhere.err, "kzica: " + out + ": written without the framing of " + file +
                               ": records with CR LF\n");
  EXPECT_EQ(Kzica({"check", out}).exit, 0);
}

TEST(Framing, ThatIsDamagedIsAWarning) {
  const TemporaryFolder folder;
  const std::vector<Bytes> records = RecordsOf(FileBytes(Sample("report-mixed.afp")));
  const kz::Framing framing = {kz::RecordFraming::Length16};
  const std::vector<Bytes> all(records.begin(), records.end() - 1);
  const std::string file = folder.File(
      "framed", Framed(all, framing) + Bytes(3, 0xFF) + Framed(records.back(), framing));
  const Result run = Kzica({"extract", file, folder / "page.png"});
  EXPECT_NE(run.exit, 0);
  EXPECT_TRUE(SamePicture(ReadPix(folder / "page.png").get(), ReadPix(Sample("letter.png")).get()));
  EXPECT_THAT(run.err,
              HasSubstr(file + ": warning: the framing of its records breaks off at byte " +
                        std::to_string(Framed(all, framing).size())));
}

// Copies don't gather, however many files are read.
TEST(Framing, OfManyFilesNeedsNoMoreRoomThanOfOne) {
  std::vector<std::string> words = {"check"};
  words.resize(1500, Sample("records-crlf.afp"));
  EXPECT_EQ(Kzica(words).exit, 0);
}

}  // namespace
