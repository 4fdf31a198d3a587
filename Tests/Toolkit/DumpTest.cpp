#include "Host/Toolkit/Dump.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "Tests/Toolkit/EditedDocuments.h"

namespace kz::test {
namespace {

using testing::HasSubstr;

struct Dumped {
  std::string text;
  int problems = 0;
};

Dumped Dump(const std::string& file, bool json = false) {
  Dumped dumped;
  const DumpOutput output = [&dumped](std::string_view line) {
    dumped.text += line;
    return true;
  };
  const auto sink = json ? MakeJsonDump(output) : MakeTextDump(output);
  const Outcome outcome = DumpFile(file, {}, *sink, &dumped.problems);
  EXPECT_TRUE(outcome.Ok()) << file << ": " << outcome.what;
  return dumped;
}

std::vector<nlohmann::json> Events(const std::string& file) {
  std::vector<nlohmann::json> events;
  const std::string text = Dump(file, true).text;
  for (size_t at = 0; at < text.size();) {
    const size_t end = text.find('\n', at);
    events.push_back(nlohmann::json::parse(text.substr(at, end - at)));
    at = end + 1;
  }
  return events;
}

TEST(Dump, ReadsLikeATable) {
  const TemporaryFolder folder;
  const Style with{true, {0x01, 0xFE}, true};
  const Bytes text = {0x2B, 0xD3, 0x04, 0xC7, 0x01, 0x00, 0x05, 0xDB, 0xC8, 0x89,
                      0x5A, 0x03, 0x72, 0x00, 0x99, 0x2B, 0xD3, 0x09, 0xDA, 0xC1};
  const Bytes segment = Bytes{0x70, 0x04, 0, 0, 0, 9, 0x91, 0x01, 0xFF} + ImageSize(16, 4, 1) +
                        Parameter(0x95, {0x06, 0x04, 0x01}) + Parameter(0x96, {1}) +
                        Parameter(0x97, {2}) + Parameter(0x9B, {0x80, 0x02, 0, 0, 0, 8, 4, 4}) +
                        Parameter(0x9F, {1}) + ImageData(Bytes(10, 7)) + kEpilogue + Bytes{1, 2};
  const Bytes file =
      Begin("DOC") + Field(0xA8AF, Name("PAGE1"), with) + Comment("a comment") +
      Field(0xEE9B, text) +
      Field(0xA090, Bytes{7, 2, 0x0B, 0, 0xC1, 0xC2, 0xC3, 6, 0x36, 0, 0, 0xF4, 0xF2}) +
      PictureData(segment, {40, 30, 500}) + Field(0xEEFF, {0xAB, 0xCD}) + Field(0xA9AF) +
      End("DOC");
  EXPECT_EQ(Dump(folder.File("all", file)).text,
            R"(    offset     length  id      field
         0         16  D3A8A8  BDT  Begin Document: name DOC
        16  5A     19  D3A8AF    BPG  Begin Page: name PAGE1, extension 01FE
        36         17  D3EEEE      NOP  No Operation: "a comment"
        53         28  D3EE9B      PTX  Presentation Text Data
        61          6  C7            AMI  Absolute Move Inline: value 256
        67          5  DB            TRN  Transparent Data: "Hi]"
        72          3  72            OVS  Overstrike: 00
        75  !!                       *** no control sequence begins here; 1 byte is passed over
        76          5  DA            TRN  Transparent Data: "A"
        76  !!                       *** the field ends within the control sequence
        81         21  D3A090      TLE  Tag Logical Element: qualified name ABC, value 42
       102         48  D3EEFB      IPD  Image Picture Data
       110          6  70            Begin Segment: name 00000009
       116          3  91            Begin Image Content: FF
       119         11  94            Image Size: unit base 10 centimetres, units 2000 x 1000, size 16 x 4
       130          5  95            Image Encoding: compression RL4, recording unpadded RIDIC, bit order first pixel lowest
       130  !!                       *** images of this compression can't be loaded
       135          3  96            IDE Size: bits per pixel 1
       138          3  97            Image LUT-ID: look up table 2
       150         32  D3EEFB      IPD  Image Picture Data
       141         10  9B            IDE Structure: flags 80, color space YCrCb, bits 8 4 4
       159          3  9F            External Algorithm Description: 01
       159  !!                       *** images with this field, or this length or value of it, can't be read
       162         14  FE92          Image Data: 10 bytes
       176          2  93            End Image Content
       178          2  71            End Segment
       180  !!                       *** the segment goes on behind its end; 2 bytes are passed over
       182         10  D3EEFF      ?: ABCD
       192          8  D3A9AF    EPG  End Page
       200         16  D3A9A8  EDT  End Document: name DOC
)");
}

TEST(Dump, ShowsThePlaceAndTheCauseOfDamage) {
  const std::string truncated = Dump(Sample("damaged-truncated.mda")).text;
  EXPECT_THAT(truncated, testing::EndsWith(
                             R"(      8431       8188  D3EEFB        IPD  Image Picture Data
      8439       8180  FE92            Image Data: 8176 bytes
      8431  !!                       *** the file ends within the field, 7619 bytes are missing
      9000  !!                         *** the segment ends within Image Data, 7619 bytes are missing
)"));

  const TemporaryFolder folder;
  const Bytes begin = Begin("A"), page = NumberedPage(1), end = End("A");
  struct Case {
    Bytes middle;  // between Begin Document and a page
    const char* words;
  };
  const Case cases[] = {
      {{0, 8, 0xC3, 0xA8, 0xAF, 0, 0, 0}, "the class code is C3, not D3; 8 bytes are"},
      {{0x80, 0, 0xD3, 0xA8, 0xAF, 0, 0, 0}, "can have the length 32768; 8 bytes are"},
      {{0, 9, 0xD3, 0xEE, 0xEE, 0x80, 0, 0, 3}, "extension has a length that it can't"},
      // The length reaches past the end, but the page is there nevertheless.
      {{0x7F, 0xFF, 0xD3, 0xEE, 0xEE, 0, 0, 0}, "another begins within"},
      // The last byte belongs to the page.
      {Bytes(100000, 0x5A), "99999 bytes are passed over"},
  };
  for (const Case& c : cases) {
    const Dumped dumped = Dump(folder.File("file", begin + c.middle + page + end));
    EXPECT_THAT(dumped.text, HasSubstr(c.words));
    EXPECT_THAT(dumped.text, HasSubstr("Begin Page: name PAGE1"));
    EXPECT_THAT(dumped.text, HasSubstr("End Document: name A"));
    EXPECT_GT(dumped.problems, 0) << c.words;
  }
  EXPECT_THAT(Dump(folder.File("empty", {})).text, HasSubstr("the file is empty"));
  EXPECT_THAT(Dump(folder.File("text", Bytes(700, 'x'))).text, HasSubstr("700 bytes are passed"));
  EXPECT_THAT(Dump(folder.File("padded", begin + end + Bytes(9, 0))).text,
              HasSubstr("no structured field follows the document; 9 bytes are passed over"));
}

// All bytes of a sound file are shown, once: fields follow each other without a gap,
// and so do the fields within the image segments.
TEST(Dump, LeavesNothingOut) {
  for (const char* name : {"report-g4.mda", "report-mixed.afp", "letter-scattered.afp",
                           "formatter.afp", "letter-g4.ica"}) {
    int64_t next = 0, segments = 0;
    size_t fields = 0;
    for (const nlohmann::json& event : Events(Sample(name))) {
      const auto offset = event["offset"].get<int64_t>();
      const auto length = event["length"].get<int64_t>();
      ASSERT_NE(event["kind"], "problem") << name << event;
      if (event["kind"] == "selfDefiningField") segments += length;
      if (event["kind"] != "structuredField") continue;
      ++fields;
      EXPECT_EQ(offset, next) << name;
      next = offset + length + (event["carriageControl"] ? 1 : 0);
    }
    const Bytes file = FileBytes(Sample(name));
    EXPECT_EQ(fields == 0 ? segments : next, static_cast<int64_t>(file.size())) << name;
  }
}

}  // namespace
TEST(Dump, ListsSeveralValuesOfOneName) {
  const TemporaryFolder folder;
  const Bytes data = Name("A") + Bytes{0, 0} + Bytes{5, 2, 1, 0, 0xC1} + Bytes{5, 2, 1, 0, 0xC2} +
                     Bytes{5, 2, 1, 0, 0xC3};
  const auto events = Events(folder.File("file", Field(0xA8A8, data) + End("A")));
  EXPECT_EQ(events.at(0)["values"]["qualifiedName"], (nlohmann::json{"A", "B", "C"}));
  EXPECT_EQ(events.at(0)["values"]["name"], "A");
}

}  // namespace kz::test
