// What PictureWriter writes: read back by PictureReader and by independent libraries.
#include "Toolkit/Pictures/PictureFile.h"

#include <gtest/gtest.h>
#include <leptonica/allheaders.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>

#include "Tests/Support/TestPictures.h"
#include "Tests/Toolkit/Pictures/PdfPages.h"

namespace kz::test {

namespace {

Outcome Write(const std::string& path, const std::vector<const Bitmap*>& pages) {
  PictureWriter writer;
  Outcome outcome = writer.Open(path);
  for (const Bitmap* page : pages) {
    if (outcome.Ok()) outcome = writer.AddPage(*page);
  }
  return outcome.Ok() ? writer.Commit() : outcome;
}

constexpr struct {
  int bits;
  Colors colors;
} kKinds[] = {{1, Colors::kNone},    {1, Colors::kBlackWhite}, {4, Colors::kNone},
              {4, Colors::kColored}, {8, Colors::kNone},       {8, Colors::kColored},
              {24, Colors::kNone}};

constexpr struct {
  const char* ending;
  int depths;  // sum of the depths that stay
  bool resolution;
} kLossless[] = {{"png", 1 + 4 + 8 + 24, true},
                 {"tif", 1 + 4 + 8 + 24, true},
                 {"TIFF", 1 + 4 + 8 + 24, true},
                 {"pnm", 1 + 8 + 24, false},
                 {"ppm", 24, false}};

// What Leptonica sees in a file must be the page.
void ExpectLeptonicaSees(const std::string& path, const Bitmap& page) {
  PIX* pix = pixRead(path.c_str());
  ASSERT_NE(pix, nullptr);
  PIX* color = pixConvertTo32(pix);
  for (int y = 0; y < page.Height(); ++y) {
    for (int x = 0; x < page.Width(); ++x) {
      int r, g, b;
      pixGetRGBPixel(color, x, y, &r, &g, &b);
      ASSERT_EQ((Color{r, g, b}), ColorAt(page, x, y)) << x << " " << y;
    }
  }
  pixDestroy(&color);
  pixDestroy(&pix);
}

TEST(PictureFile, EveryDepthComesBack) {
  const TemporaryFolder folder;
  for (const auto& format : kLossless) {
    for (const auto& kind : kKinds) {
      for (const int width : {1, 31, 70}) {
        for (const int perspective : {K_VIEW_TOP_DOWN, K_VIEW_BOTTOM_UP}) {
          SCOPED_TRACE(testing::Message() << format.ending << " " << kind.bits << " bits, palette "
                                          << static_cast<int>(kind.colors) << ", width " << width);
          const int order = width == 31 ? K_ORDER_RGB : K_ORDER_BGR;
          const Bitmap page = RandomBitmap(width, 9, kind.bits, kind.colors, perspective, order);
          const std::string path = folder / (std::string("page.") + format.ending);
          const Outcome written = Write(path, {&page});
          ASSERT_TRUE(written.Ok()) << written.what;
          PictureReader reader;
          ASSERT_TRUE(reader.Open(path).Ok());
          ASSERT_EQ(reader.Pages(), 1);
          Bitmap back;
          const Outcome read = reader.Read(1, back);
          ASSERT_TRUE(read.Ok()) << read.what;
          EXPECT_EQ(LargestDifference(page, back), 0);
          ExpectLeptonicaSees(path, page);
          if ((format.depths & kind.bits) == kind.bits && kind.bits != 8) {
            EXPECT_EQ(back.BitsPerPixel(), kind.bits);
          }
          EXPECT_EQ(back.XResolution(), format.resolution ? 200 : 0);
          EXPECT_EQ(back.YResolution(), format.resolution ? 100 : 0);
        }
      }
    }
  }
}

TEST(PictureFile, PdfPagesHoldTheirPixels) {
  const TemporaryFolder folder;
  std::vector<Bitmap> bitmaps;
  for (const auto& kind : kKinds) {
    for (const int width : {1, 31, 70}) {
      const int order = width == 31 ? K_ORDER_RGB : K_ORDER_BGR;
      const int perspective = width == 70 ? K_VIEW_BOTTOM_UP : K_VIEW_TOP_DOWN;
      bitmaps.push_back(RandomBitmap(width, 20, kind.bits, kind.colors, perspective, order));
    }
  }
  // Rows that are better filtered.
  for (const int bits : {8, 24}) bitmaps.push_back(SmoothBitmap(97, 50, bits));
  std::vector<const Bitmap*> pages;
  for (Bitmap& bitmap : bitmaps) {
    bitmap.SetResolution(72, 72);
    pages.push_back(&bitmap);
  }
  ASSERT_TRUE(Write(folder / "pages.pdf", pages).Ok());
  ExpectPdfIsSound(folder / "pages.pdf");
  const std::vector<Bitmap> drawn = DrawnPages(folder, "pages.pdf");
  ASSERT_EQ(drawn.size(), pages.size());
  for (size_t i = 0; i < pages.size(); ++i) {
    const Bitmap& page = *pages[i];
    SCOPED_TRACE(testing::Message() << page.BitsPerPixel() << " bits, width " << page.Width());
    ASSERT_EQ(drawn[i].Width(), kDrawnPixels * page.Width());
    for (int y = 0; y < page.Height(); ++y) {
      for (int x = 0; x < page.Width(); ++x) {
        ASSERT_EQ(DrawnAt(drawn[i], x, y), ColorAt(page, x, y)) << x << " " << y;
      }
    }
  }
}

TEST(PictureFile, PdfNumbersHaveAPointInEveryLanguageAndKeepProportions) {
  // A locale that writes a comma: the plain one, changed in its first value.
  const TemporaryFolder folder;
  Bytes numeric = FileBytes("/usr/lib/locale/C.utf8/LC_NUMERIC");
  const auto point = std::find(numeric.begin() + 0x20, numeric.end(), '.');
  ASSERT_NE(point, numeric.end());
  *point = ',';
  std::filesystem::create_directory(folder / "comma");
  folder.File("comma/LC_NUMERIC", numeric);
  ASSERT_EQ(setenv("LOCPATH", (folder / "").c_str(), 1), 0);
  ASSERT_NE(std::setlocale(LC_NUMERIC, "comma"), nullptr);
  char text[8];
  (void)std::snprintf(text, sizeof(text), "%.1f", 0.5);
  EXPECT_STREQ(text, "0,5");
  const Bitmap page = RandomBitmap(50, 30, 1);
  Bitmap large;
  ASSERT_EQ(large.Create(30000, 600, 1), K_SUCCESS);
  large.SetResolution(100, 100);
  const Outcome written = Write(folder / "page.pdf", {&page, &large});
  std::setlocale(LC_NUMERIC, "C");
  unsetenv("LOCPATH");
  ASSERT_TRUE(written.Ok());
  const Pdf pdf(folder / "page.pdf");
  EXPECT_NE(pdf.objects[3].find("/MediaBox [0 0 18.0000 21.6000]"), std::string::npos);
  EXPECT_NE(pdf.objects[4].find("q 18.0000 0 0 21.6000 0 0 cm"), std::string::npos);
  // 300 inches by 6, in units of one and a half points.
  EXPECT_NE(pdf.objects[6].find("/MediaBox [0 0 14400.0000 288.0000]"), std::string::npos);
  EXPECT_NE(pdf.objects[6].find("/UserUnit 1.5000"), std::string::npos);
}

}  // namespace

}  // namespace kz::test
