// What PictureWriter writes: read back by PictureReader, by independent libraries,
// and not written at all when something fails.
#include "Host/Toolkit/PictureFile.h"

#include <gtest/gtest.h>
#include <leptonica/allheaders.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <tiffio.h>
#include <unistd.h>

#include <csignal>

#include "Tests/Toolkit/TestPictures.h"

namespace kz::test {

namespace {

Outcome Write(const std::string& path, const std::vector<const Bitmap*>& pages,
              PictureFormat format = PictureFormat::kNone) {
  PictureWriter writer;
  Outcome outcome = writer.Open(path, format);
  for (const Bitmap* page : pages) {
    if (outcome.Ok()) outcome = writer.AddPage(*page);
  }
  return outcome.Ok() ? writer.Commit() : outcome;
}

struct Kind {
  int bits;
  Colors colors;
};

constexpr Kind kKinds[] = {{1, Colors::kNone}, {1, Colors::kBlackWhite}, {4, Colors::kNone},
                           {4, Colors::kGray}, {4, Colors::kColored},    {8, Colors::kNone},
                           {8, Colors::kGray}, {8, Colors::kColored},    {24, Colors::kNone}};

struct Format {
  const char* ending;
  int depths;  // sum of the depths that stay
  bool resolution;
};

constexpr Format kLossless[] = {{"png", 1 + 4 + 8 + 24, true},
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
  for (const Format& format : kLossless) {
    for (const Kind& kind : kKinds) {
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

TEST(PictureFile, LossyAndReducingFormats) {
  const TemporaryFolder folder;
  const Bitmap smooth = SmoothBitmap(64, 48, 24), bits = RandomBitmap(64, 48, 1);
  const struct {
    const char* name;
    const Bitmap& page;
    int bits, difference;
  } cases[] = {{"a.jpg", smooth, 24, 12},
               {"b.jpeg", bits, 8, 255},
               {"c.pbm", smooth, 1, 255},
               {"d.pgm", smooth, 8, 255}};
  for (const auto& c : cases) {
    PictureReader reader;
    Bitmap back;
    ASSERT_TRUE(Write(folder / c.name, {&c.page}).Ok());
    ASSERT_TRUE(reader.Open(folder / c.name).Ok());
    ASSERT_TRUE(reader.Read(1, back).Ok());
    EXPECT_EQ(back.BitsPerPixel(), c.bits);
    EXPECT_LE(LargestDifference(c.page, back), c.difference) << c.name;
    EXPECT_TRUE(c.bits != 24 || back.XResolution() == 300);
  }
}

TEST(PictureFile, TiffHoldsPagesOfAnyDepthInOrder) {
  const TemporaryFolder folder;
  std::vector<Bitmap> pages;
  std::vector<const Bitmap*> pointers;
  for (int i = 0; i < 20; ++i) {
    const Kind& kind = kKinds[static_cast<size_t>(i) % std::size(kKinds)];
    pages.push_back(RandomBitmap(20 + i, 10, kind.bits, kind.colors));
  }
  for (const Bitmap& page : pages) pointers.push_back(&page);
  ASSERT_TRUE(Write(folder / "pages.tif", pointers).Ok());
  PictureReader reader;
  ASSERT_TRUE(reader.Open(folder / "pages.tif").Ok());
  ASSERT_EQ(reader.Pages(), 20);
  for (const int page : {20, 1, 7, 7, 19}) {
    Bitmap back;
    ASSERT_TRUE(reader.Read(page, back).Ok());
    EXPECT_EQ(LargestDifference(pages[static_cast<size_t>(page - 1)], back), 0) << page;
  }
  for (const int page : {0, 21, -1}) {
    Bitmap back;
    EXPECT_EQ(reader.Read(page, back).status, K_ERROR_INVALID_FORMAT);
  }
  TIFF* tiff = TIFFOpen((folder / "pages.tif").c_str(), "r");
  uint16_t compression = 0;
  EXPECT_EQ(TIFFGetField(tiff, TIFFTAG_COMPRESSION, &compression), 1);
  EXPECT_EQ(compression, COMPRESSION_CCITTFAX4);
  TIFFClose(tiff);
}

// --- PDF ---

class Pdf {
 public:
  explicit Pdf(const std::string& path) {
    const Bytes bytes = FileBytes(path);
    m_text.assign(bytes.begin(), bytes.end());
    const size_t table = std::stoul(m_text.substr(m_text.rfind("startxref\n") + 10));
    EXPECT_EQ(m_text.compare(table, 7, "xref\n0 "), 0);
    const size_t count = std::stoul(m_text.substr(table + 7));
    const size_t entries = m_text.find('\n', table + 5) + 1;
    for (size_t i = 0; i < count; ++i)
      m_offsets.push_back(std::stoul(m_text.substr(entries + 20 * i, 10)));
  }
  // An object's text, from behind "N 0 obj".
  std::string Object(size_t number) const {
    const std::string head = std::to_string(number) + " 0 obj\n";
    const size_t at = m_offsets.at(number);
    EXPECT_EQ(m_text.compare(at, head.size(), head), 0) << number;
    const size_t next = number + 1 < m_offsets.size() && m_offsets[number + 1] > at
                            ? m_offsets[number + 1]
                            : m_text.size();
    return m_text.substr(at + head.size(), next - at - head.size());
  }
  static Bytes Stream(const std::string& object) {
    const size_t length = std::stoul(object.substr(object.find("/Length ") + 8));
    const size_t at = object.find("\nstream\n") + 8;
    EXPECT_EQ(object.compare(at + length, 10, "\nendstream"), 0);
    return AsBytes(std::string_view(object).substr(at, length));
  }
  size_t Objects() const { return m_offsets.size(); }

 private:
  std::string m_text;
  std::vector<size_t> m_offsets;
};

TEST(PictureFile, PdfPagesHoldTheirPixels) {
  const TemporaryFolder folder;
  const Bitmap bits = RandomBitmap(50, 30, 1, Colors::kBlackWhite);
  const Bitmap colors = RandomBitmap(50, 30, 24);
  const Bitmap mapped = RandomBitmap(50, 30, 4, Colors::kColored);
  ASSERT_TRUE(Write(folder / "pages.pdf", {&bits, &colors, &mapped}).Ok());
  const Pdf pdf(folder / "pages.pdf");
  ASSERT_EQ(pdf.Objects(), 12U);
  EXPECT_NE(pdf.Object(2).find("/Count 3 /Kids [3 0 R 6 0 R 9 0 R ]"), std::string::npos);
  // 50 pixels at 200 dpi and 30 at 100 dpi, in points.
  EXPECT_NE(pdf.Object(3).find("/MediaBox [0 0 18.0000 21.6000]"), std::string::npos);

  const std::string group4 = pdf.Object(5);
  EXPECT_NE(group4.find("/CCITTFaxDecode /DecodeParms << /K -1 /Columns 50 /Rows 30 >>"),
            std::string::npos);
  Bytes data = Pdf::Stream(group4);
  TIFF* tiff = TIFFOpen((folder / "g4.tif").c_str(), "w");
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, 50);
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, 30);
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 30);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_CCITTFAX4);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE);
  TIFFWriteRawStrip(tiff, 0, data.data(), static_cast<tmsize_t>(data.size()));
  TIFFClose(tiff);
  PictureReader reader;
  Bitmap back;
  ASSERT_TRUE(reader.Open(folder / "g4.tif").Ok());
  ASSERT_TRUE(reader.Read(1, back).Ok());
  EXPECT_EQ(LargestDifference(bits, back), 0);

  for (const bool color : {true, false}) {
    const std::string object = pdf.Object(color ? 8 : 11);
    EXPECT_NE(
        object.find(color ? "/ColorSpace /DeviceRGB" : "/ColorSpace [/Indexed /DeviceRGB 15 <"),
        std::string::npos);
    const Bytes deflated = Pdf::Stream(object);
    size_t size = 0;
    l_uint8* rows = zlibUncompress(deflated.data(), deflated.size(), &size);
    const size_t rowBytes = color ? 150 : 25;
    ASSERT_EQ(size, (rowBytes + 1) * 30);
    for (size_t y = 0; y < 30; ++y) {
      unsigned char* row = rows + y * (rowBytes + 1);
      ASSERT_EQ(row[0], 2);
      for (size_t x = 1; y > 0 && x <= rowBytes; ++x)
        row[x] = static_cast<unsigned char>(row[x] + row[x - rowBytes - 1]);
      const Color expected = ColorAt(colors, 49, static_cast<int>(y));
      if (color) {
        EXPECT_EQ((Color{row[148], row[149], row[150]}), expected);
      } else {
        EXPECT_EQ(row[25], mapped.TopDownRow(static_cast<int>(y))[24]);
      }
    }
    lept_free(rows);
  }
}

// --- Failures ---

TEST(PictureFile, NamesAndPagesThatCannotBe) {
  const TemporaryFolder folder;
  const Bitmap page = RandomBitmap(8, 8, 1);
  for (const char* name : {"page.gif", "page", "png", "page.png.", "-"}) {
    const Outcome outcome = Write(std::string(name) == "-" ? name : folder / name, {&page});
    EXPECT_EQ(outcome.status, K_ERROR_SAVE_FORMAT) << name;
    EXPECT_NE(outcome.what.find("png, tif"), std::string::npos);
  }
  EXPECT_EQ(Write(folder / "a.png", {&page, &page}).status, K_ERROR_SAVE_FORMAT);
  EXPECT_EQ(Write(folder / "a.png", {}).status, K_ERROR_INVALID_FORMAT);
  EXPECT_EQ(Write(folder / "no/a.png", {&page}).status, K_ERROR_OPEN_WRITE);
  EXPECT_TRUE(folder.Names().empty());
}

TEST(PictureFile, AFailureLeavesTheOldFile) {
  const TemporaryFolder folder;
  const Bitmap page = RandomBitmap(400, 400, 24);
  const Bitmap empty;
  for (const char* ending : {"png", "tif", "ppm", "jpg", "pdf"}) {
    const std::string path = folder / (std::string("old.") + ending);
    folder.File(path, AsBytes("old"));
    EXPECT_FALSE(Write(path, {&empty}).Ok());
    {
      PictureWriter abandoned;
      ASSERT_TRUE(abandoned.Open(path).Ok());
      ASSERT_TRUE(abandoned.AddPage(page).Ok());
    }
    const pid_t child = ::fork();
    if (child == 0) {
      ::signal(SIGXFSZ, SIG_IGN);
      const rlimit limit{20000, 20000};
      ::setrlimit(RLIMIT_FSIZE, &limit);
      const Outcome outcome = Write(path, {&page});
      ::_exit(outcome.status == K_ERROR_WRITE && outcome.what.find("oo large") != std::string::npos
                  ? 0
                  : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0) << ending;
    EXPECT_EQ(FileBytes(path), AsBytes("old"));
  }
  EXPECT_EQ(folder.Names().size(), 5U);
}

}  // namespace

}  // namespace kz::test
