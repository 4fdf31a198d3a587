// Text, names and tags that mean something to who reads svg and pdf files: they stay text.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>

#include "Tests/Toolkit/View/ViewFields.h"
#include "Toolkit/View/PageRenderer.h"

namespace kz::test {
namespace {

std::string OutputOf(const std::string& command) {
  std::string output;
  FILE* pipe = ::popen((command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return output;
  char piece[4096];
  for (size_t n = 0; (n = std::fread(piece, 1, sizeof(piece), pipe)) > 0;) output.append(piece, n);
  const int status = ::pclose(pipe);
  return status == 0 ? output : "exit status of " + command + ": " + output;
}

// What the code page of documents has for ASCII that ends strings, tags and names elsewhere.
Bytes Coded(const std::string& ascii) {
  constexpr struct {
    char ascii;
    unsigned char coded;
  } table[] = {{'<', 0x4C}, {'>', 0x6E},  {'&', 0x50},  {'"', 0x7F},  {'\'', 0x7D}, {'(', 0x4D},
               {')', 0x5D}, {'\\', 0xE0}, {'/', 0x61},  {'%', 0x6C},  {'=', 0x7E},  {';', 0x5E},
               {'#', 0x7B}, {' ', 0x40},  {'\0', 0x00}, {'\n', 0x25}, {'\r', 0x0D}, {'\x1B', 0x27}};
  Bytes bytes;
  for (const char c : ascii) {
    const auto* row = std::find_if(std::begin(table), std::end(table),
                                   [c](const auto& one) { return one.ascii == c; });
    bytes.push_back(row != std::end(table) ? row->coded : Name(std::string(1, c))[0]);
  }
  return bytes;
}

Bytes Unicode(const std::vector<unsigned>& units) {
  Bytes text;
  for (const unsigned unit : units) text = text + Big16(unit);
  return Control(0x6A, Bytes{1, 0} + Big16(static_cast<unsigned>(text.size())) + Bytes(10, 0)) +
         text;
}

Bytes Tag(const Bytes& name, const Bytes& value) {
  const auto length = [](const Bytes& bytes) {
    return static_cast<unsigned char>(bytes.size() + 4);
  };
  return Field(0xA090,
               Bytes{length(name), 2, 0x0B, 0} + name + Bytes{length(value), 0x36, 0, 0} + value);
}

const std::string kMarkup = "</TEXT><SCRIPT>&#X27;\"'>";
const std::string kStrings = "\\) (A\\";

// A document of one page that holds all of them everywhere.
Bytes HostileDocument() {
  const Bytes text = Inline(50) + Baseline(300) + Control(0xDA, Coded(kMarkup)) + Baseline(500) +
                     Inline(50) + Control(0xDA, Coded(kStrings)) + Baseline(700) + Inline(50) +
                     Control(0xDA, Coded(std::string("A\0B\nC\rD\x1B[", 9)) + Bytes{0xFF, 0x3F}) +
                     Baseline(900) + Inline(50) +
                     Unicode({'<', '&', 0, 1, 0xFFFE, 0xFFFF, 0xD800, 'X', 0xDC00, 0x202E, 0x2066,
                              0x85, 0x7F, 0xFEFF, 0xD83D, 0xDE00, ']', ']', '>'}) +
                     Said("END");
  const Bytes graphics = Field(0xA8BB) + Field(0xA8C7) + AreaDescriptor(300, 100) +
                         AreaPosition({.x = 500, .y = 100}) + Field(0xA9C7) + Field(0xA9BB);
  const Bytes name = Coded(std::string("<)\\\"&(\0>", 8));
  const Bytes group = Field(0xA8AD, name) + Tag(Coded(kMarkup), Coded(kStrings)) +
                      Tag(Coded(std::string("\0\n\x1B", 3)), Coded("%PDF<<")) +
                      ViewPage(TextObject(text) + graphics, 3000, 2000) + Field(0xA9AD, name);
  return ViewDocument(group);
}

class Files {
 public:
  explicit Files(const std::string& title) : m_document(m_folder.File("file", HostileDocument())) {
    EXPECT_EQ(m_document.Open().what, "");
    PageRenderer renderer(m_document, {.title = title});
    for (const RenderFormatRow& row : kRenderFormats) {
      EXPECT_EQ(renderer.Write({1}, row.format, Path(row.ending), {}).what, "") << row.ending;
    }
  }
  std::string Path(const std::string& ending) const { return m_folder / ("out." + ending); }

 private:
  TemporaryFolder m_folder;
  Document m_document;
};

TEST(HostileTextTest, SvgFilesHoldNoMarkupOfTheDocument) {
  const Files files("title");
  EXPECT_EQ(OutputOf("xmllint --nonet --noout " + files.Path("svg")), "");
  EXPECT_EQ(OutputOf("xmllint --xpath 'count(//*[local-name()=\"script\" or "
                     "local-name()=\"SCRIPT\"])' " +
                     files.Path("svg")),
            "0\n");
  std::ifstream file(files.Path("svg"), std::ios::binary);
  const std::string svg(std::istreambuf_iterator<char>(file), {});
  for (const char c : svg) {
    EXPECT_TRUE(c == '\n' || static_cast<unsigned char>(c) >= 0x20) << static_cast<int>(c);
  }
}

TEST(HostileTextTest, PdfFilesAreSoundAndShowTheTextAsItIs) {
  const Files files("title");
  EXPECT_NE(OutputOf("qpdf --check " + files.Path("pdf")).find("No syntax or stream encoding"),
            std::string::npos);
  const std::string text = OutputOf("pdftotext -layout " + files.Path("pdf") + " -");
  for (const std::string& line : {kMarkup, kStrings}) {
    EXPECT_NE(text.find(line), std::string::npos) << line << " in " << text;
  }
  EXPECT_NE(text.find("END"), std::string::npos) << text;
  EXPECT_EQ(text.find('\0'), std::string::npos);
  // Names of groups and tags are entries of the outline, whatever is in them.
  const std::string outline =
      OutputOf("qpdf --json --json-key=outlines " + files.Path("pdf") + " | tr -d '\\n'");
  for (const char* entry :
       {R"("<)\\\"&( >")", R"("</TEXT><SCRIPT>&#X27;\"'>: \\) (A\\")", ": %PDF<<\""}) {
    EXPECT_NE(outline.find(entry), std::string::npos) << entry << " in " << outline;
  }
  EXPECT_EQ(outline.find("\\u00"), std::string::npos) << outline;
}

// The only group names the file, else the title that is asked for does.
TEST(HostileTextTest, TitlesStayTitles) {
  const TemporaryFolder folder;
  Document document(folder.File("file", ViewDocument(ViewPage({}))));
  ASSERT_EQ(document.Open().what, "");
  struct Case {
    std::string title;
    const char* expected;
  };
  const Case cases[] = {
      {"a) /JS (b\\", "Title:           a) /JS (b\\\n"},
      {"\\", "Title:           \\\n"},
      {"caf\xC3\xA9 (\xE2\x82\xAC)", "Title:           caf\xC3\xA9 (\xE2\x82\xAC)\n"},
      {"a\nb\x1B[31m", "Title:           a b [31m\n"},
      {"none \xEF\xBF\xBE \xF0\x9F\xBF\xBF", "Title:           none"},
      {"not \xFF UTF-8 \xED\xA0\x80)", "Title:           not "},
  };
  for (const Case& one : cases) {
    PageRenderer renderer(document, {.title = one.title});
    ASSERT_EQ(renderer.Write({1}, RenderFormat::kPdf, folder / "out.pdf", {}).what, "")
        << one.expected;
    const std::string info = OutputOf("pdfinfo " + (folder / "out.pdf"));
    EXPECT_NE(info.find(one.expected), std::string::npos) << info;
    EXPECT_NE(info.find("JavaScript:      no"), std::string::npos) << info;
    EXPECT_NE(OutputOf("qpdf --check " + (folder / "out.pdf")).find("No syntax or stream encoding"),
              std::string::npos);
  }
}

}  // namespace
}  // namespace kz::test
