// The text that can be found in pdf files is the document's, whatever fonts there are.
#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <string>

#include "Tests/Toolkit/View/ViewFields.h"
#include "Toolkit/Documents/Text.h"
#include "Toolkit/View/PageRenderer.h"

namespace kz::test {
namespace {

std::string WordsOf(const std::string& text) {
  std::istringstream words(text);
  std::string all;
  for (std::string word; words >> word;) all += (all.empty() ? "" : " ") + word;
  return all;
}

std::string PdfText(const std::string& path) {
  std::string text;
  FILE* pipe = ::popen(("pdftotext -enc UTF-8 " + path + " -").c_str(), "r");
  if (pipe == nullptr) return "no pdftotext";
  char piece[4096];
  for (size_t n = 0; (n = std::fread(piece, 1, sizeof(piece), pipe)) > 0;) text.append(piece, n);
  ::pclose(pipe);
  return WordsOf(text);
}

// A page whose font 1 has text in UTF-8, in all four directions.
Bytes PageOf(const std::string& utf8, int degrees) {
  const Bytes font = Bytes{6, 0x50, 0, 0, 0x78, 0x07, 4, 0x24, 5, 1};
  const Bytes map = Field(0xAB8A, Big16(static_cast<unsigned>(font.size()) + 2) + font);
  const Bytes text(utf8.begin(), utf8.end());
  const Bytes turn =
      Control(0xF6, Degrees(degrees) + Degrees((degrees + 90) % 360)) + Control(0xF0, {1});
  return ViewPage(map + TextObject(turn + Inline(500) + Baseline(1500) + Control(0xDA, text)), 4000,
                  4000);
}

TEST(PdfTextTest, IsFoundAsTheDocumentHasIt) {
  const char* const texts[] = {
      "office affluent fjord waffle",
      "caf\u00E9 Gr\u00F6\u00DFe na\u00EFve \u00A3 \u20AC \u2026",
      "\u201CA\u201D 'b' \"c\" <script>alert(1)</script> &amp; \\ (d) %",
      "\u0391\u03B8\u03AE\u03BD\u03B1 \u041C\u043E\u0441\u043A\u0432\u0430",
      "AVATAR To. Te, W. 1.234,50",
      // What fonts may lack.
      "a \u65E5\u672C\u8A9E b",
      "\u65E5\u672C \uAC00\uB098",
      "x \U0001F600 y",
      "o \u2603\u2388 p",
  };
  const TemporaryFolder folder;
  for (const char* const text : texts) {
    for (const int degrees : {0, 90, 180, 270}) {
      for (const RenderedText shown : {RenderedText::kShown, RenderedText::kInvisible}) {
        const std::string path = folder.File("file", ViewDocument(PageOf(text, degrees)));
        Document document(path);
        ASSERT_EQ(document.Open().what, "");
        std::string said;
        const Outcome read = ReadTexts(path, {}, [&](const TextPage& page) {
          for (const TextLine& line : page.lines) said += line.Text() + "\n";
          return true;
        });
        EXPECT_EQ(read.what, "");
        EXPECT_EQ(WordsOf(said), text);
        PageRenderer renderer(document, {.text = shown});
        ASSERT_EQ(renderer.Write({1}, RenderFormat::kPdf, folder / "out.pdf", {}).what, "");
        EXPECT_EQ(PdfText(folder / "out.pdf"), text) << degrees << (shown == RenderedText::kShown);
      }
    }
  }
}

}  // namespace
}  // namespace kz::test
