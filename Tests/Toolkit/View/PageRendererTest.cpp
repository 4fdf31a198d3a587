#include "Toolkit/View/PageRenderer.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>

#include "Tests/Support/TestPictures.h"
#include "Tests/Toolkit/View/RenderedPages.h"
#include "Tests/Toolkit/View/ViewFields.h"
#include "Toolkit/Documents/Text.h"
#include "Toolkit/Pictures/PictureFile.h"

namespace kz::test {
namespace {

bool IsDark(const Bitmap& bitmap, int x, int y) {
  const Color color = ColorAt(bitmap, x, y);
  return color[0] + color[1] + color[2] < 3 * 128;
}

// The pixels within which all that is dark lies: "10,20 to 30,40".
struct Ink {
  int left = 1 << 20, top = 1 << 20, right = -1, bottom = -1;
};
Ink InkOf(const Bitmap& bitmap) {
  Ink ink;
  for (int y = 0; y < bitmap.Height(); ++y) {
    for (int x = 0; x < bitmap.Width(); ++x) {
      if (!IsDark(bitmap, x, y)) continue;
      ink = {std::min(ink.left, x), std::min(ink.top, y), std::max(ink.right, x + 1),
             std::max(ink.bottom, y + 1)};
    }
  }
  return ink;
}
std::string InWords(const Ink& ink) {
  return std::to_string(ink.left) + "," + std::to_string(ink.top) + " to " +
         std::to_string(ink.right) + "," + std::to_string(ink.bottom);
}

// As far as poppler draws stencils: it gives each pixel that they touch its whole colour.
Ink InkOf(const Rendered& rendered, const std::string& name) {
  const Bitmap picture = rendered.Picture(name);
  Ink ink = InkOf(picture);
  const bool pdf = name.ends_with(".pdf");
  if (pdf && ink.right % 5 == 1) --ink.right;
  if (pdf && ink.bottom % 5 == 1) --ink.bottom;
  return ink;
}

// Its upper left quarter is black: 10 by 5 points.
Bytes QuarterImage(const Bytes& area) {
  Bytes rows;
  for (int y = 0; y < 100; ++y) {
    for (int x = 0; x < 200; x += 8)
      rows.push_back(x < 96 && y < 50 ? 0xFF : x == 96 && y < 50 ? 0xF0 : 0);
  }
  return ImageObject(200, 100, area, rows);
}

TEST(PageRendererTest, PicturesStandWhereTheLayoutPutsThem) {
  struct Case {
    int rotation, contentRotation;
    unsigned char mapping;
    const char* ink;
  };
  const Bytes size = AreaDescriptor(200, 100);
  const Case cases[] = {
      {0, 0, 0x60, "50,80 to 60,85"},     {90, 0, 0x60, "45,80 to 50,90"},
      {180, 0, 0x60, "40,75 to 50,80"},   {270, 0, 0x60, "50,70 to 55,80"},
      {0, 180, 0x60, "60,85 to 70,90"},   {0, 90, 0x60, "60,80 to 70,85"},
      {90, 180, 0x60, "40,90 to 45,100"}, {0, 0, 0x42, "50,80 to 70,90"},
  };
  for (const Case& one : cases) {
    const Position at = {
        .x = 500, .y = 800, .rotation = one.rotation, .contentRotation = one.contentRotation};
    Rendered rendered(
        ViewDocument(ViewPage(QuarterImage(size + AreaPosition(at) + MapImage(one.mapping)))));
    for (const char* name : {"page.png", "page.pdf"}) {
      ASSERT_EQ(rendered.Write(name).what, "");
      const Bitmap picture = rendered.Picture(name);
      EXPECT_EQ(picture.Width(), 100);
      EXPECT_EQ(picture.Height(), 200);
      EXPECT_EQ(InWords(InkOf(rendered, name)), one.ink)
          << name << " turned " << one.rotation << " and " << one.contentRotation;
    }
  }
}

TEST(PageRendererTest, PicturesThatRepeatFillTheirAreaAndNoMore) {
  const Bytes area = AreaDescriptor(350, 200) + AreaPosition({.x = 100, .y = 100}) + MapImage(0x50);
  Rendered rendered(ViewDocument(ViewPage(QuarterImage(area))));
  for (const char* name : {"page.png", "page.pdf"}) {
    ASSERT_EQ(rendered.Write(name).what, "");
    const Bitmap picture = rendered.Picture(name);
    EXPECT_EQ(InWords(InkOf(rendered, name)), "10,10 to 40,25") << name;
    EXPECT_TRUE(IsDark(picture, 35, 22)) << name;
    EXPECT_FALSE(IsDark(picture, 25, 12)) << name;
  }
}

// What lies under the white of a bilevel picture is seen; boxes and rules are drawn.
TEST(PageRendererTest, BilevelPicturesLetWhatIsUnderThemThrough) {
  const Bytes rule = TextObject(Inline(100) + Baseline(100) + Control(0x74, {0, 2}) +
                                Control(0xE4, Big16(400) + Big16(300)));
  const Bytes box =
      Field(0xA8BB) + AreaDescriptor(300, 300) + AreaPosition({.x = 100, .y = 600}) + Field(0xA9BB);
  const Bytes image = QuarterImage(AreaDescriptor(200, 100) + AreaPosition({.x = 200, .y = 200}));
  Rendered rendered(ViewDocument(ViewPage(rule + image + box)));
  for (const char* name : {"page.png", "page.pdf"}) {
    ASSERT_EQ(rendered.Write(name).what, "");
    const Bitmap picture = rendered.Picture(name);
    EXPECT_NEAR(ColorAt(picture, 22, 22)[0], 0, 2) << name;
    EXPECT_EQ(ColorAt(picture, 35, 22), (Color{255, 0, 0})) << name;
    EXPECT_EQ(ColorAt(picture, 5, 5), (Color{255, 255, 255})) << name;
    EXPECT_NEAR(ColorAt(picture, 38, 88)[0], 217, 2) << name;
  }
}

TEST(PageRendererTest, TextHasItsInkWhereItsRunIs) {
  struct Case {
    const char* name;
    Bytes sequences;
    Ink within;  // no more than this
    Ink covers;  // no less
  };
  const Bytes turn = Control(0xF6, Degrees(90) + Degrees(180));
  const Case cases[] = {
      // Capitals of 10 points are some 6.5 high, four of the fixed font 24 wide.
      {"plain", Inline(200) + Baseline(500) + Said("HHHH"), {20, 42, 45, 51}, {22, 45, 42, 49}},
      {"down",
       turn + Inline(500) + Baseline(200) + Said("HHHH"),
       {79, 49, 88, 75},
       {81, 52, 85, 72}},
      {"in its room",
       Inline(200) + Baseline(500) + Said("HHHHHHHHHHHH") + Inline(500) + Control(0x74, {0, 7}) +
           Said("H"),
       {20, 42, 51, 51},
       {22, 46, 48, 47}},
      {"with wide blanks",
       Number(0xC4, 300) + Inline(100) + Baseline(500) + Said("H H"),
       {10, 42, 53, 51},
       {12, 45, 50, 49}},
      {"underlined",
       Control(0x76, {1}) + Inline(200) + Baseline(500) + Said("HHHH"),
       {19, 42, 45, 53},
       {22, 45, 43, 51}},
  };
  for (const Case& one : cases) {
    Rendered rendered(ViewDocument(ViewPage(TextObject(one.sequences))));
    for (const char* name : {"page.png", "page.pdf"}) {
      ASSERT_EQ(rendered.Write(name).what, "");
      const Ink ink = InkOf(rendered.Picture(name));
      const bool right = ink.left >= one.within.left && ink.top >= one.within.top &&
                         ink.right <= one.within.right && ink.bottom <= one.within.bottom &&
                         ink.left <= one.covers.left && ink.top <= one.covers.top &&
                         ink.right >= one.covers.right && ink.bottom >= one.covers.bottom;
      EXPECT_TRUE(right) << one.name << " in " << name << ": " << InWords(ink);
    }
  }
}

// JPEG data go into a pdf as they are, and look as they do when they are decoded here.
TEST(PageRendererTest, JpegPicturesGoIntoPdfFilesAsTheyAre) {
  Rendered rendered(std::string(KZ_SAMPLES "/foreign/oc_jpeg.afp"));
  ASSERT_EQ(rendered.Write("page.png").what, "");
  ASSERT_EQ(rendered.Write("page.pdf").what, "");
  const std::string images = OutputOf("pdfimages -list " + rendered.Path("page.pdf"));
  EXPECT_NE(images.find(" jpeg "), std::string::npos) << images;
  const Bitmap ours = rendered.Picture("page.png"), poppler = rendered.Picture("page.pdf");
  const int width = std::min(ours.Width(), poppler.Width());
  const int height = std::min(ours.Height(), poppler.Height());
  double differences = 0, ink = 0;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      differences += std::abs(ColorAt(ours, x, y)[0] - ColorAt(poppler, x, y)[0]);
      ink += 255 - ColorAt(ours, x, y)[0];
    }
  }
  EXPECT_GT(ink, 0);
  EXPECT_LT(differences, ink / 5);
}

// The first picture of a document without carriage control, as fields.
Bytes FirstImage(const Bytes& file) {
  Bytes image;
  bool inside = false;
  for (size_t at = 0; at + 8 <= file.size();) {
    const size_t length = size_t{file[at]} << 8 | file[at + 1];
    const unsigned code = static_cast<unsigned>(file[at + 3]) << 8 | file[at + 4];
    if (length < 8 || at + length > file.size()) break;
    const auto field = file.begin() + static_cast<ptrdiff_t>(at);
    inside |= code == 0xA8FB;
    if (inside)
      image = image + Field(code, Bytes(field + 8, field + static_cast<ptrdiff_t>(length)));
    if (code == 0xA9FB) break;
    at += length;
  }
  return image;
}

// Unless something lies under them, for they would hide it.
TEST(PageRendererTest, Group4PicturesGoIntoPdfFilesAsTheyAre) {
  const Bytes image = FirstImage(FileBytes(KZ_SAMPLES "/report-g4.mda"));
  Rendered rendered(ViewDocument(ViewPage(image + image, 8000, 8000) +
                                 ViewPage(TextObject(Baseline(100) + Said("A")) + image)));
  ASSERT_EQ(rendered.Write("out.pdf", {1, 2}).what, "");
  std::istringstream list(OutputOf("pdfimages -list " + rendered.Path("out.pdf")));
  std::string kinds;
  for (std::string line; std::getline(list, line);) {
    kinds += line.find(" ccitt ") != std::string::npos     ? "fax "
             : line.find(" stencil ") != std::string::npos ? "mask "
                                                           : "";
  }
  EXPECT_EQ(kinds, "fax mask mask ");
  OutputOf("pdfimages -png -f 1 -l 1 " + rendered.Path("out.pdf") + " " + rendered.Path("image"));
  PictureReader reader;
  Bitmap letter;
  ASSERT_EQ(reader.Open(KZ_SAMPLES "/letter.png").what, "");
  ASSERT_EQ(reader.Read(1, letter).what, "");
  const Bitmap found = rendered.Picture("image-000.png");
  ASSERT_EQ(found.Width(), letter.Width());
  ASSERT_EQ(found.Height(), letter.Height());
  int different = 0;
  for (int y = 0; y < letter.Height(); ++y) {
    for (int x = 0; x < letter.Width(); ++x)
      different += IsDark(found, x, y) != IsDark(letter, x, y);
  }
  EXPECT_EQ(different, 0);
}

std::string Words(const std::string& text) {
  std::istringstream words(text);
  std::string all;
  for (std::string word; words >> word;) all += word + " ";
  return all;
}
std::string PlainText(const std::string& path) {
  std::string text;
  const Outcome outcome = ReadTexts(path, {}, [&](const TextPage& page) {
    for (const TextLine& line : page.lines) text += line.Text() + "\n";
    return true;
  });
  EXPECT_TRUE(outcome.Ok()) << outcome.what;
  return Words(text);
}

Bytes Lines() {
  Bytes lines;
  for (int line = 0; line < 12; ++line) {
    lines = lines + Inline(50) + Baseline(150 * line + 150) + Said("LINE ") +
            Said(std::to_string(line)) + Inline(500) + Said("END OF IT");
  }
  return TextObject(lines + Number(0xC4, 60) + Inline(50) + Baseline(1950) + Said("A B C"));
}

TEST(PageRendererTest, TextOfPdfFilesIsThatOfTheDocument) {
  const TemporaryFolder folder;
  const std::string built =
      folder.File("built.afp", ViewDocument(ViewPage(Lines()) + ViewPage(Lines())));
  for (const std::string& path : {built, std::string(KZ_SAMPLES "/foreign/fop_default.afp"),
                                  std::string(KZ_SAMPLES "/formatter.afp")}) {
    Rendered rendered(path);
    Document document(path);
    ASSERT_EQ(document.Open().what, "");
    std::vector<int> pages;
    for (int page = 1; page <= document.Pages(); ++page) pages.push_back(page);
    ASSERT_EQ(rendered.Write("out.pdf", pages).what, "");
    const std::string expected = PlainText(path);
    EXPECT_FALSE(expected.empty()) << path;
    EXPECT_EQ(Words(OutputOf("pdftotext " + rendered.Path("out.pdf") + " -")), expected) << path;
  }
}

TEST(PageRendererTest, InvisibleTextIsFoundAndNotSeen) {
  Rendered rendered(ViewDocument(ViewPage(Lines())));
  const struct {
    RenderedText text;
    bool found, seen;
  } cases[] = {{RenderedText::kShown, true, true},
               {RenderedText::kInvisible, true, false},
               {RenderedText::kNone, false, false}};
  for (const auto& one : cases) {
    const RenderOptions options = {.dpi = 72, .text = one.text};
    for (const char* name : {"page.pdf", "page.png"}) {
      ASSERT_EQ(rendered.Write(name, {1}, options).what, "");
      const Bitmap picture = rendered.Picture(name);
      int lowest = 255;
      for (int y = 0; y < picture.Height(); ++y) {
        for (int x = 0; x < picture.Width(); ++x) {
          lowest = std::min(lowest, ColorAt(picture, x, y)[0]);
        }
      }
      EXPECT_EQ(lowest < 255, one.seen) << name;
    }
    const std::string text = OutputOf("pdftotext " + rendered.Path("page.pdf") + " -");
    EXPECT_EQ(text.find("END OF IT") != std::string::npos, one.found);
  }
}

TEST(PageRendererTest, PdfFilesHaveATitleAndAnOutline) {
  const auto tag = [](const std::string& name, const std::string& value) {
    const Bytes n = Name(name), v = Name(value);
    const auto length = [](const Bytes& bytes) {
      return static_cast<unsigned char>(bytes.size() + 4);
    };
    return Field(0xA090, Bytes{length(n), 2, 0x0B, 0} + n + Bytes{length(v), 0x36, 0, 0} + v);
  };
  const Bytes page = ViewPage({});
  const Bytes file = ViewDocument(Field(0xA8AD, Name("LETTERS")) + tag("YEAR", "1987") +
                                  Field(0xA8AD, Name("FIRST")) + page + Field(0xA9AD) +
                                  Field(0xA8AD, Name("SECOND")) + tag("KEY", "42") + page + page +
                                  Field(0xA9AD) + Field(0xA9AD));
  Rendered rendered(file);
  ASSERT_EQ(rendered.Write("out.pdf", {1, 3}, {.title = "file.afp"}).what, "");
  const std::string info = OutputOf("pdfinfo " + rendered.Path("out.pdf"));
  EXPECT_NE(info.find("Title:           LETTERS"), std::string::npos) << info;
  EXPECT_NE(info.find("Pages:           2"), std::string::npos) << info;
  const std::string json = OutputOf("qpdf --json --json-key=outlines " + rendered.Path("out.pdf"));
  size_t at = 0;
  for (const char* title : {"LETTERS", "FIRST", "SECOND", "KEY", "YEAR"}) {
    EXPECT_NE(json.find(title), std::string::npos) << title << json;
  }
  for (size_t next = 0; (next = json.find("\"destpageposfrom1\"", next)) != std::string::npos;
       ++next)
    ++at;
  EXPECT_EQ(at, 5u) << json;
  EXPECT_NE(OutputOf("qpdf --check " + rendered.Path("out.pdf") + " && echo sound").find("sound"),
            std::string::npos);
}

TEST(PageRendererTest, WhatCantBeDrawnIsSaid) {
  Bytes broken =
      ImageObject(200, 100, AreaDescriptor(200, 100) + AreaPosition({.x = 100, .y = 100}));
  // Another compression, which nobody has.
  for (size_t i = 0; i + 4 < broken.size(); ++i) {
    if (broken[i] == 0x95 && broken[i + 1] == 2) broken[i + 2] = 0x77;
  }
  Rendered rendered(ViewDocument(ViewPage(broken) + ViewPage({}, 0x7FFFFF, 0x7FFFFF)));
  const Outcome drawn = rendered.Write("page.png");
  EXPECT_EQ(drawn.what, "");
  ASSERT_EQ(drawn.warnings.size(), 1u);
  EXPECT_EQ(drawn.warnings[0].substr(0, 11), "picture 1: ");
  EXPECT_NEAR(ColorAt(rendered.Picture("page.png"), 29, 19)[0], 217, 2);
  EXPECT_EQ(rendered.Write("page.png", {2}, {.dpi = 2400}).status, K_ERROR_INVALID_FORMAT);
  EXPECT_EQ(rendered.Write("page.png", {3}).status, K_ERROR_INVALID_FORMAT);
  EXPECT_EQ(rendered.Write("page.svg", {1, 2}).status, K_ERROR_SAVE_FORMAT);
  EXPECT_EQ(rendered.Write("none/page.svg").status, K_ERROR_OPEN_WRITE);
}

// The longer side has the size that was asked for, whatever dpi says.
TEST(PageRendererTest, PngFilesFitIntoASize) {
  constexpr int inch = 720;
  const struct {
    int across, down, size, width, height;
  } cases[] = {{8 * inch, 10 * inch, 128, 103, 128},
               {10 * inch, 8 * inch, 256, 256, 205},
               {3 * inch, 3 * inch, 1, 1, 1},
               {100 * inch, inch, 64, 64, 1},
               {7 * inch, 11 * inch, 1024, 652, 1024}};
  for (const auto& one : cases) {
    Rendered rendered(ViewDocument(ViewPage({}, one.across, one.down)));
    EXPECT_EQ(rendered.Write("page.png", {1}, {.dpi = 72, .size = one.size}).what, "");
    const Bitmap bitmap = rendered.Picture("page.png");
    EXPECT_EQ(bitmap.Width(), one.width) << one.size;
    EXPECT_EQ(bitmap.Height(), one.height) << one.size;
  }
}

// Pictures and letters of svg files are drawings: nothing of a document's words is in them.
TEST(PageRendererTest, SvgFilesHoldNoWordsOfTheDocument) {
  const Bytes group = Field(0xA8AD, AsBytes("<script>"));
  Rendered rendered(ViewDocument(
      group +
      ViewPage(TextObject(Inline(100) + Baseline(100) +
                          Control(0xDA, {0x4C, 0xA2, 0x83, 0x99, 0x89, 0x97, 0xA3, 0x6E}))) +
      Field(0xA9AD)));
  ASSERT_EQ(rendered.Write("page.svg").what, "");
  std::ifstream file(rendered.Path("page.svg"));
  const std::string svg(std::istreambuf_iterator<char>(file), {});
  EXPECT_EQ(svg.find("script"), std::string::npos);
  EXPECT_NE(svg.find("width=\"100pt\" height=\"200pt\""), std::string::npos) << svg.substr(0, 300);
  EXPECT_NE(svg.find("<use "), std::string::npos);
}

}  // namespace
}  // namespace kz::test
