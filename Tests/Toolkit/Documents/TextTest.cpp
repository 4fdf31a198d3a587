#include "Format/CodePage.h"
#include "Toolkit/Documents/Text.h"

#include <iconv.h>

#include "Format/CodePage.h"
#include "Tests/Support/EditedDocuments.h"

namespace kz::test {
namespace {

using namespace std::string_literals;

Bytes Raw(const std::string& text) { return Bytes(text.begin(), text.end()); }
// ASCII in code page 500.
Bytes Ebcdic(const std::string& ascii) {
  Bytes bytes;
  for (const char c : ascii) bytes.push_back(EbcdicOf(c));
  return bytes;
}

// A control sequence, with an odd type chained to the next; Start() begins a chain.
Bytes Start() { return {0x2B, 0xD3}; }
Bytes Chained(unsigned char type, const Bytes& parameters = {}) {
  return Bytes{static_cast<unsigned char>(parameters.size() + 2), type} + parameters;
}
Bytes Transparent(const std::string& text, unsigned char type = 0xDA) {
  return Start() + Chained(type, Raw(text));
}
Bytes Move(unsigned char type, int to) {
  return Start() + Chained(type, Big16(static_cast<unsigned>(to) & 0xFFFF));
}
Bytes At(int inlinePosition, int baseline, const std::string& ascii) {
  return Move(0xC6, inlinePosition) + Move(0xD2, baseline) + Start() + Chained(0xDA, Ebcdic(ascii));
}

Bytes Text(const Bytes& sequences) { return Field(0xEE9B, sequences); }
Bytes Page(const Bytes& content) { return Field(0xA8AF, Name("P")) + content + Field(0xA9AF); }
Bytes Triplet(unsigned char id, const Bytes& contents) {
  return Bytes{static_cast<unsigned char>(contents.size() + 2), id} + contents;
}
Bytes Group(const Bytes& triplets) {
  return Big16(static_cast<unsigned>(triplets.size() + 2)) + triplets;
}
Bytes MappedName(unsigned char type, const Bytes& name) {
  return Triplet(0x02, Bytes{type, 0} + name);
}
Bytes MapFont(unsigned char id, const Bytes& triplets) {
  return Field(0xAB8A, Group(triplets + Triplet(0x24, {0x05, id})));
}

// A code page in a resource group, its entries `length` bytes long or as they say.
Bytes CodePage(const std::string& name, const Bytes& entries, unsigned char length = 10,
               unsigned number = 0) {
  const Bytes descriptor = Bytes(40, 0x40) + Big16(number);
  const Bytes control = Ebcdic("SP010000") + Bytes{0, length, 0x40, 0x40, 0};
  return Field(0xA8C6) + Field(0xA8CE, Name(name)) + Field(0xA887, Name(name)) +
         Field(0xA687, descriptor) + Field(0xA787, control) + Field(0x8C87, entries) +
         Field(0xA987) + Field(0xA9CE) + Field(0xA9C6);
}
Bytes Entry(const std::string& id, const Bytes& rest) { return Ebcdic(id) + Bytes{0} + rest; }

// The lines of pages as the command prints them, then the warnings.
std::string TextOf(const Bytes& document, const TextOptions& options = {}) {
  const TemporaryFolder folder;
  std::string text;
  const auto warn = [&text](const std::string& warning) { text += "! " + warning + "\n"; };
  const Outcome outcome =
      ReadTexts(folder.File("file", document), options, [&](const TextPage& page) {
        if (!text.empty()) text += "\f";
        for (const TextLine& line : page.lines) text += line.Text() + "\n";
        for (const std::string& warning : page.warnings) warn(warning);
        return true;
      });
  for (const std::string& warning : outcome.warnings) warn(warning);
  if (!outcome.Ok()) warn(std::to_string(outcome.status) + " " + outcome.what);
  return text;
}

std::string LinesOf(const Bytes& sequences) {
  return TextOf(Begin("D") + Page(Text(sequences)) + End("D"));
}

// The identifiers of code page 500's characters from 41 to FE, by rows of its chart
// without the digits that they have in common.
TEST(Text, OfACodePageThatTheDocumentBringsAlongIsWhatIconvMakesOfIt) {
  const std::string chart =
      "SP01 SP30 LA15 LA17 LA13 LA11 LA19 LA27 LC41 LN19 SM06 SP11 SA03 SP06 SA01 SP02 "
      "SM03 LE11 LE15 LE17 LE13 LI11 LI15 LI17 LI13 LS61 SM08 SC03 SM04 SP07 SP14 SD15 "
      "SP10 SP12 LA16 LA18 LA14 LA12 LA20 LA28 LC42 LN20 SM65 SP08 SM02 SP09 SA05 SP15 "
      "LO61 LE12 LE16 LE18 LE14 LI12 LI16 LI18 LI14 SD13 SP13 SM01 SM05 SP05 SA04 SP04 "
      "LO62 LA01 LB01 LC01 LD01 LE01 LF01 LG01 LH01 LI01 SP17 SP18 LD63 LY11 LT63 SA02 "
      "SM19 LJ01 LK01 LL01 LM01 LN01 LO01 LP01 LQ01 LR01 SM21 SM20 LA51 SD41 LA52 SC01 "
      "SM17 SD19 LS01 LT01 LU01 LV01 LW01 LX01 LY01 LZ01 SP03 SP16 LD62 LY12 LT64 SM53 "
      "SC04 SC02 SC05 SD63 SM52 SM24 SM25 NF04 NF01 NF05 SM66 SM13 SM15 SD17 SD11 SA07 "
      "SM11 LA02 LB02 LC02 LD02 LE02 LF02 LG02 LH02 LI02 SP32 LO15 LO17 LO13 LO11 LO19 "
      "SM14 LJ02 LK02 LL02 LM02 LN02 LO02 LP02 LQ02 LR02 ND011 LU15 LU17 LU13 LU11 LY17 "
      "SM07 SA06 LS02 LT02 LU02 LV02 LW02 LX02 LY02 LZ02 ND021 LO16 LO18 LO14 LO12 LO20 "
      "ND10 ND01 ND02 ND03 ND04 ND05 ND06 ND07 ND08 ND09 ND031 LU16 LU18 LU14 LU12 ";
  Bytes entries;
  std::string all;
  unsigned char code = 0x40;
  for (size_t at = 0; at < chart.size(); ++code) {
    std::string id = chart.substr(at, chart.find(' ', at) - at);
    at += id.size() + 1;
    id.resize(8, '0');
    // Another code point than the page of the number has, so that only the table helps.
    const auto moved = static_cast<unsigned char>(code ^ 0xFF);
    if (moved == 0x2B) continue;
    entries = entries + Entry(id, {moved});
    all += static_cast<char>(moved);
  }
  EXPECT_EQ(code, 0xFF);
  std::string plain;
  for (const char c : all) plain += static_cast<char>(static_cast<unsigned char>(c) ^ 0xFF);
  const Bytes font = MapFont(1, MappedName(0x85, Name("T1OWN")));
  const Bytes select = Start() + Chained(0xF0, {1});
  EXPECT_EQ(TextOf(CodePage("T1OWN", entries) + Begin("D") +
                   Page(font + Text(select + Transparent(all))) + End("D")),
            LinesOf(Transparent(plain)));
}

TEST(Text, IsInTheEncodingOfItsFont) {
  const Bytes select = Start() + Chained(0xF0, {7});
  const Bytes cp1252 = MapFont(7, MappedName(0x85, Name("T1001252")));
  const Bytes resource =
      CodePage("T1001252",
               Entry("LA110000", {0x41}) + Entry("OWN00000", {0x42}) + Entry("LQ110000", {0x43}));
  const Bytes trueType = Field(
      0xABC3, Group(MappedName(0xDE, Raw("Font")) + MappedName(0xBE, {7}) + Triplet(0x8B, {})));
  const Bytes utf8 = Field(
      0xABC3, Group(MappedName(0xBE, {7}) + Triplet(0x8B, {}) + Triplet(0x50, {0, 0, 0x78, 0x07})));
  const Bytes image = Field(0xABC3, Group(MappedName(0xBE, {7})));
  const Bytes format1 = Field(0xB18A, Bytes{28, 0, 0, 0, 7, 0, 0, 0} + Bytes(8, 0xFF) +
                                          Name("T1001252") + Name("C0H20000"));
  const Bytes codedFont = Field(0xA8C6) + Field(0xA8CE, Name("X0FONT")) +
                          Field(0xA88A, Name("X0FONT")) +
                          Field(0x8C8A, Name("C0H20000") + Name("T1001252") + Bytes(9, 0)) +
                          Field(0xA98A) + Field(0xA9CE) + Field(0xA9C6);
  const Bytes wide = CodePage("T1WIDE", Entry("LA010000", {0x41, 0x42}), 11);
  const Bytes unicode =
      CodePage("T1UNI",
               Entry("OWN00001", {0x41, 2, 0, 0, 0, 0x61, 0, 0, 3, 1}) +
                   Entry("LB010000", {0x42, 0}) + Entry("OWN00002", {0x43, 1, 0, 1, 0xF6, 0}),
               0xFE);
  const struct {
    const char* what;
    Bytes resources;
    Bytes character;  // Begin Document's
    Bytes map;
    const char* encoding;
    std::string bytes;
    const char* expected;
  } cases[] = {
      {"no font", {}, {}, {}, "", "\xC1\x4A", "A["},
      {"the document's", {}, Triplet(0x01, {2, 0xB9, 0, 37}), {}, "", "\xC1\x4A", "A\u00A2"},
      {"of names only", {}, Triplet(0x01, {0, 0, 4, 0xB0}), {}, "", "\xC1\x4A", "A["},
      {"the code page's", {}, Triplet(0x01, {2, 0xB9, 0, 37}), cp1252, "", "AB\x80", "AB\u20AC"},
      {"format 1", {}, {}, format1, "", "AB\x80", "AB\u20AC"},
      {"the GRID's",
       {},
       {},
       MapFont(7, MappedName(0x84, {2, 0xB9, 4, 0xE4, 0, 11, 0, 0})),
       "",
       "AB\x80",
       "AB\u20AC"},
      {"a coded font's",
       codedFont,
       {},
       MapFont(7, MappedName(0x8E, Name("X0FONT"))),
       "",
       "AB\x80",
       "AB\u20AC"},
      // What the resource doesn't know by its identifier is looked for in the page of the name.
      {"the resource's", resource, {}, cp1252, "", "ABC\x80", "\u00E1Bq\u0301 "},
      {"two bytes", wide, {}, MapFont(7, MappedName(0x85, Name("T1WIDE"))), "", "ABABA", "aa "},
      {"in Unicode",
       unicode,
       {},
       MapFont(7, MappedName(0x85, Name("T1UNI"))),
       "",
       "ABC",
       "a\u0301b\U0001F600"},
      {"TrueType",
       {},
       {},
       trueType,
       "",
       "\0A\x20\xAC\xD8\x3D\xDE\0\xD8\0\0B"s,
       "A\u20AC\U0001F600\uFFFDB"},
      {"TrueType in UTF-8", {}, {}, utf8, "", "A\xE2\x82\xAC", "A\u20AC"},
      {"no TrueType", {}, {}, image, "", "\xC1", "A"},
      {"Unicode migration",
       {},
       {},
       MapFont(7, MappedName(0x85, Name("T1FUU")) + Triplet(0x50, {0x82, 0})),
       "",
       "\0A"s,
       "A"},
      {"as said", resource, {}, trueType, "cp037", "\xC1\x4A", "A\u00A2"},
  };
  for (const auto& c : cases) {
    const Bytes document = c.resources + Field(0xA8A8, Name("D") + Bytes{0, 0} + c.character) +
                           Page(c.map + Text(select + Transparent(c.bytes))) + End("D");
    EXPECT_EQ(TextOf(document, {{}, c.encoding}), c.expected + "\n"s) << c.what;
  }
}

TEST(Text, IsInLinesByTheBaselinesWhereverItWasSet) {
  const auto plain = [](const std::string& ascii, unsigned char type = 0xDA) {
    return Start() + Chained(type, Ebcdic(ascii));
  };
  const Bytes down = {0x2D, 0x00, 0x5A, 0x00};  // 90 and 180 degrees
  const struct {
    const char* what;
    Bytes sequences;
    const char* expected;
  } cases[] = {
      {"cells", At(100, 50, "Item") + At(900, 50, "Price") + At(100, 90, "Tea") + At(900, 90, "1"),
       "Item Price\nTea 1\n"},
      {"cells by columns",
       At(900, 50, "Price") + At(900, 90, "1") + At(100, 51, "Item") + At(100, 89, "Tea"),
       "Item Price\nTea 1\n"},
      {"blanks that are there", At(0, 50, "a ") + At(90, 50, "b") + At(200, 50, " c"), "a b c\n"},
      {"a chain",
       Start() + Chained(0xC7, {0, 9}) + Chained(0xDB, Ebcdic("ab")) + Chained(0xD3, {0, 50}) +
           Chained(0xDB, Ebcdic("c")) + Chained(0xF8),
       "ab\nc\n"},
      {"a chain that goes on unchained", Start() + Chained(0xDB, Ebcdic("ab")) + plain("c"),
       "abc\n"},
      {"one line in pieces", plain("a") + plain("b") + Move(0xF0, 0) + plain("c"), "abc\n"},
      {"kerning and a gap",
       plain("Ta") + Move(0xC8, -15) + plain("b") + Move(0xC8, 200) + plain("c"), "Tab c\n"},
      {"lines begun",
       Move(0xC0, 100) + Move(0xD0, 30) + plain("a") + Start() + Chained(0xD8) + plain("c") +
           At(0, 30, "b"),
       "a\nb c\n"},
      {"relative baselines",
       At(0, 100, "a") + Move(0xD4, 100) + plain("c") + Move(0xD4, -50) + plain("b"), "a\nb\nc\n"},
      {"a string that repeats", At(0, 0, "Tea") + Start() + Chained(0xEE, Big16(5) + Ebcdic("-.")),
       "Tea-.-.-\n"},
      {"strings that repeat nothing", Start() + Chained(0xEE, Big16(5)) + Start() + Chained(0xEE),
       ""},
      {"another direction",
       At(0, 90, "a") + Start() + Chained(0xF6, down) + At(0, 50, "top") + At(90, 50, "right") +
           At(0, 90, "next"),
       "a\ntop right\nnext\n"},
      {"Unicode",
       Start() + Chained(0x6A, Bytes{1, 0} + Big16(4) + Bytes(10, 0)) + Raw("\x20\xAC\x2B\xD3"s) +
           plain("a"),
       "\u20AC\u2BD3a\n"},
      {"text between sequences", plain("a") + Ebcdic("bc") + Bytes{0x3F, 0x04} + plain("d"),
       "abcd\n"},
      {"ends of lines in it", Transparent("\xC1\x15\x25\x0C\xC2"), "A   B\n"},
      {"a length of 1", plain("a") + Bytes{0x2B, 0xD3, 1, 0xDA} + plain("b"),
       "a\n! the control sequence has no valid length at byte 45\n"},
      {"a sequence that is cut", plain("a") + Bytes{0x2B, 0xD3, 9, 0xDA, 0x82},
       "ab\n! the field ends within the control sequence at byte 45\n"},
      {"no parameters",
       Start() + Chained(0xC6) + Start() + Chained(0xF0) + Start() + Chained(0x6A) + Start() +
           Chained(0xF6, {0, 0}) + plain("a"),
       "a\n"},
  };
  for (const auto& c : cases) EXPECT_EQ(LinesOf(c.sequences), c.expected) << c.what;

  // A page of strings that repeat can't be as long as they say.
  Bytes repeats;
  for (int i = 0; i < 1000; ++i) repeats = repeats + Start() + Chained(0xEE, {0x7F, 0xFF, 0x4B});
  EXPECT_EQ(LinesOf(repeats).size(), 65536u + 1);
}

TEST(Text, OfAPageEndsWhereTheNextOneBegins) {
  const auto page = [](const std::string& ascii) { return Page(Text(At(0, 9, ascii))); };
  const Bytes resource = Field(0xA8C6) + Field(0xA8CE, Name("R")) + Begin("R") + page("resource") +
                         End("R") + Field(0xA9CE);
  const Bytes open = Field(0xA8AF) + Text(At(0, 9, "open"));
  const Bytes noField = {0, 3, 0xD3, 0xEE, 0x9B, 0, 0, 0};
  // Its font is its own, and its place that of the object.
  const Bytes object = Field(0xA89B) + MapFont(0xFF, MappedName(0x85, Name("T1001252"))) +
                       Field(0xAC6B, Bytes{1, 23, 0, 0, 0, 0, 0, 0}) + Text(Transparent("x")) +
                       Field(0xA99B) + Text(At(0, 99, "y"));
  const struct {
    const char* what;
    Bytes document;
    std::vector<int> pages;
    const char* expected;
  } cases[] = {
      {"empty pages", Begin("D") + page("1") + Page({}) + page("3") + End("D"), {}, "1\n\f\f3\n"},
      {"some", Begin("D") + page("1") + page("2") + page("3") + End("D"), {3, 1}, "1\n\f3\n"},
      {"none such",
       Begin("D") + page("1") + End("D"),
       {1, 2},
       "1\n! -9 there is no page 2, the last is page 1\n"},
      {"not of resources", resource + Field(0xA9C6) + Begin("D") + page("1") + End("D"), {}, "1\n"},
      {"a group without end", resource + Begin("D") + page("1") + End("D"), {}, "1\n"},
      {"a page without end",
       Begin("D") + open + page("2") + open,
       {},
       "open\n\f2\n\fopen\n! the file ends without an End Document field\n"},
      {"a text object", Begin("D") + Page(object) + End("D"), {}, "x\ny\n"},
      {"damage",
       Begin("D") + page("1") + noField + page("2") + noField + Page({}) + End("D"),
       {},
       "1\n\f2\n\f! there is no valid structured field at byte 65; 8 bytes are passed over, and "
       "at 1 more place\n"},
      {"no pages but damage",
       Begin("D") + noField,
       {},
       "! -9 there is no valid structured field at byte 16; 8 bytes are passed over\n"},
      {"zeros",
       Begin("D") + page("1") + Bytes(100000, 0) + page("2") + End("D") + Bytes(999, 0),
       {},
       "1\n\f2\n! there is no valid structured field at byte 65; 100000 bytes are passed over\n"},
  };
  for (const auto& c : cases) EXPECT_EQ(TextOf(c.document, {c.pages, ""}), c.expected) << c.what;
}

TEST(Text, StandsWhereThePageHasIt) {
  // Units of 1/240 inch on a page of 8 x 11 inches, an object at 1 x 2 inches.
  const Bytes sizes = Big16(2400) + Big16(2400) + Bytes{0, 7, 128, 0, 10, 80};
  const Bytes conditions = Bytes{0, 0} + Move(0xC6, 24);
  const Bytes at = {0x01, 23, 0, 0, 240, 0, 1, 224};
  const Bytes page = Field(0xA6AF, Bytes{0, 0} + sizes + Bytes(3, 0)) +
                     Field(0xB19B, Bytes{0, 0} + sizes + conditions) + Text(Transparent("A")) +
                     Field(0xA89B) + Field(0xAC6B, at) + Text(At(120, 240, "B")) + Field(0xA99B) +
                     Text(Start() + Chained(0xF6, {0x5A, 0, 0x87, 0}) + At(240, 480, "C"));
  const TemporaryFolder folder;
  std::vector<std::string> places;
  const Outcome outcome = ReadTexts(folder.File("file", Begin("D") + Page(page) + End("D")), {},
                                    [&](const TextPage& found) {
                                      for (const TextLine& line : found.lines) {
                                        places.push_back(std::to_string(line.pieces[0].x) + " " +
                                                         std::to_string(line.pieces[0].y));
                                      }
                                      return true;
                                    });
  EXPECT_TRUE(outcome.Ok());
  EXPECT_THAT(places, testing::ElementsAre("7.200000 0.000000", "108.000000 216.000000",
                                           "504.000000 648.000000"));
}

TEST(Text, OfRawBytesHasALineForEachFieldAndBaseline) {
  const TemporaryFolder folder;
  const Bytes content = Text(Transparent("one") + Move(0xC6, 9) + Transparent(" line") +
                             Move(0xD2, 90) + Transparent("\xFF\0"s) + Move(0xD2, 99)) +
                        Text({}) + Text(Transparent("last"));
  const std::string file = folder.File("raw", Begin("D") + Page(content) + End("D"));
  std::string raw;
  const auto take = [&raw](int, const std::string& text) {
    raw = text;
    return true;
  };
  EXPECT_TRUE(ReadRawTexts(file, {1}, take).Ok());
  EXPECT_EQ(raw, "one line\r\n\xFF\0\r\n\r\n\r\nlast\r\n"s);
}

}  // namespace
}  // namespace kz::test
