// Picture files of other programs, whole and damaged.
#include <gtest/gtest.h>
#include <leptonica/allheaders.h>
#include <png.h>
#include <tiffio.h>

#include <sys/stat.h>

#include <cstdio>

#include "Host/Toolkit/PictureFile.h"
#include "Tests/Toolkit/TestPictures.h"

namespace kz::test {

namespace {

Outcome Read(const std::string& path, Bitmap& bitmap, int page = 1) {
  PictureReader reader;
  Outcome outcome = reader.Open(path);
  return outcome.Ok() ? reader.Read(page, bitmap) : outcome;
}

constexpr int kWidth = 4, kHeight = 3;

// A 4 x 3 page of grey.
void WriteTiffPage(TIFF* tiff, uint32_t kind, int orientation, const Bytes& rows) {
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, kWidth);
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, kHeight);
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tiff, TIFFTAG_ORIENTATION, orientation);
  TIFFSetField(tiff, TIFFTAG_SUBFILETYPE, kind);
  TIFFSetField(tiff, TIFFTAG_XRESOLUTION, 100.0);
  TIFFSetField(tiff, TIFFTAG_YRESOLUTION, 50.0);
  TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_CENTIMETER);
  Bytes copy = rows;
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, kHeight);
  for (uint32_t y = 0; y < kHeight; ++y) TIFFWriteScanline(tiff, &copy[y * kWidth], y);
  TIFFWriteDirectory(tiff);
}

TEST(PictureReader, Group4StripsOfEveryKind) {
  const TemporaryFolder folder;
  const Bitmap page = RandomBitmap(75, 20, 1);
  for (const int photometric : {PHOTOMETRIC_MINISWHITE, PHOTOMETRIC_MINISBLACK}) {
    for (const int fillOrder : {FILLORDER_MSB2LSB, FILLORDER_LSB2MSB}) {
      for (const int rowsPerStrip : {1, 7, 20, 1000}) {
        SCOPED_TRACE(testing::Message() << photometric << fillOrder << " " << rowsPerStrip);
        TIFF* tiff = TIFFOpen((folder / "a.tif").c_str(), "w");
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, 75);
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, 20);
        TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_CCITTFAX4);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, photometric);
        TIFFSetField(tiff, TIFFTAG_FILLORDER, fillOrder);
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, rowsPerStrip);
        for (int y = 0; y < 20; ++y) {
          Bytes row(page.TopDownRow(y), page.TopDownRow(y) + page.BytesPerLine());
          for (unsigned char& byte : row) byte ^= photometric == PHOTOMETRIC_MINISBLACK ? 0xFF : 0;
          TIFFWriteScanline(tiff, row.data(), static_cast<uint32_t>(y));
        }
        TIFFClose(tiff);
        Bitmap bitmap;
        const Outcome outcome = Read(folder / "a.tif", bitmap);
        ASSERT_TRUE(outcome.Ok()) << outcome.what;
        EXPECT_EQ(LargestDifference(page, bitmap), 0);
        // Half a strip is no strip, though libtiff says so.
        if (rowsPerStrip < 20) continue;
        tiff = TIFFOpen((folder / "a.tif").c_str(), "r");
        Bytes strip(static_cast<size_t>(TIFFRawStripSize(tiff, 0)) / 2);
        TIFFReadRawStrip(tiff, 0, strip.data(), static_cast<tmsize_t>(strip.size()));
        TIFFClose(tiff);
        tiff = TIFFOpen((folder / "a.tif").c_str(), "r+");
        TIFFWriteRawStrip(tiff, 0, strip.data(), static_cast<tmsize_t>(strip.size()));
        TIFFRewriteDirectory(tiff);
        TIFFClose(tiff);
        EXPECT_EQ(Read(folder / "a.tif", bitmap).status, K_ERROR_READ);
      }
    }
  }
}

TEST(PictureReader, TurnedPagesStandUpright) {
  const TemporaryFolder folder;
  // What each orientation shows of the stored corners 1, 2 (top) and 3, 4.
  const struct {
    int orientation, topLeft, topRight;
  } cases[] = {{1, 1, 2}, {2, 2, 1}, {3, 4, 3}, {4, 3, 4},
               {5, 1, 3}, {6, 3, 1}, {7, 4, 2}, {8, 2, 4}};
  for (const auto& c : cases) {
    TIFF* tiff = TIFFOpen((folder / "a.tif").c_str(), "w");
    // A thumbnail is no page.
    WriteTiffPage(tiff, FILETYPE_REDUCEDIMAGE, 1, Bytes(12, 99));
    WriteTiffPage(tiff, 0, c.orientation, {1, 0, 0, 2, 0, 0, 0, 0, 3, 0, 0, 4});
    TIFFClose(tiff);
    Bitmap bitmap;
    ASSERT_TRUE(Read(folder / "a.tif", bitmap).Ok());
    EXPECT_EQ(bitmap.Width(), c.orientation < 5 ? kWidth : kHeight);
    EXPECT_EQ(ColorAt(bitmap, 0, 0)[0], c.topLeft) << c.orientation;
    EXPECT_EQ(ColorAt(bitmap, bitmap.Width() - 1, 0)[0], c.topRight) << c.orientation;
    EXPECT_EQ(bitmap.XResolution(), c.orientation < 5 ? 254 : 127);
  }
}

// A row of three pixels, twice, as a PNG of any kind.
struct PngKind {
  const char* name;
  int type, bits;
  Bytes row;
  Bytes transparent;  // the colour that is, or the alpha of the palette's entries
  int depth;          // of the picture
  std::array<Color, 3> shown;
};

void WritePng(const std::string& path, const PngKind& kind, int interlace) {
  FILE* file = std::fopen(path.c_str(), "wb");
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_init_io(png, file);
  png_set_IHDR(png, info, 3, 2, kind.bits, kind.type, interlace, PNG_COMPRESSION_TYPE_DEFAULT,
               PNG_FILTER_TYPE_DEFAULT);
  const png_color colors[] = {{200, 100, 0}, {200, 100, 0}, {10, 20, 30}};
  const Bytes& t = kind.transparent;
  if (kind.type == PNG_COLOR_TYPE_PALETTE) {
    png_set_PLTE(png, info, colors, 3);
    png_set_tRNS(png, info, t.data(), static_cast<int>(t.size()), nullptr);
  } else if (!t.empty()) {
    png_color_16 color{};
    color.gray = color.red = t[0];
    color.green = t.size() > 1 ? t[1] : 0;
    color.blue = t.size() > 2 ? t[2] : 0;
    png_set_tRNS(png, info, nullptr, 0, &color);
  }
  png_set_pHYs(png, info, 11811, 3937, PNG_RESOLUTION_METER);
  png_write_info(png, info);
  for (int pass = png_set_interlace_handling(png); pass > 0; --pass) {
    for (int y = 0; y < 2; ++y) png_write_row(png, kind.row.data());
  }
  png_write_end(png, info);
  png_destroy_write_struct(&png, &info);
  std::fclose(file);
}

TEST(PictureReader, TransparentPartsOfAPngShowPaper) {
  constexpr Color kPaper = {255, 255, 255};
  constexpr int kGrey = PNG_COLOR_TYPE_GRAY, kGreyAlpha = PNG_COLOR_TYPE_GRAY_ALPHA,
                kRgb = PNG_COLOR_TYPE_RGB, kRgbAlpha = PNG_COLOR_TYPE_RGB_ALPHA,
                kMapped = PNG_COLOR_TYPE_PALETTE;
  const PngKind kinds[] = {
      {"grey",
       kGreyAlpha,
       8,
       {9, 255, 101, 128, 7, 0},
       {},
       8,
       {{{9, 9, 9}, {178, 178, 178}, kPaper}}},
      {"grey of 16 bits",
       kGreyAlpha,
       16,
       {9, 9, 255, 255, 101, 101, 128, 128, 7, 7, 0, 0},
       {},
       8,
       {{{9, 9, 9}, {178, 178, 178}, kPaper}}},
      {"colour",
       kRgbAlpha,
       8,
       {200, 100, 0, 255, 200, 100, 0, 128, 1, 2, 3, 0},
       {},
       24,
       {{{200, 100, 0}, {227, 177, 127}, kPaper}}},
      {"one grey of 1 bit", kGrey, 1, {0x40}, {1}, 8, {{{0, 0, 0}, kPaper, {0, 0, 0}}}},
      {"one grey of 4 bits",
       kGrey,
       4,
       {0x0F, 0x30},
       {3},
       8,
       {{{0, 0, 0}, {255, 255, 255}, kPaper}}},
      {"one grey", kGrey, 8, {0, 1, 2}, {1}, 8, {{{0, 0, 0}, kPaper, {2, 2, 2}}}},
      {"one colour",
       kRgb,
       8,
       {1, 2, 3, 4, 5, 6, 1, 2, 4},
       {1, 2, 3},
       24,
       {{kPaper, {4, 5, 6}, {1, 2, 4}}}},
      {"a palette",
       kMapped,
       8,
       {0, 1, 2},
       {255, 128, 0},
       24,
       {{{200, 100, 0}, {227, 177, 127}, kPaper}}},
      {"a palette of 2 bits", kMapped, 2, {0x18}, {0}, 24, {{kPaper, {200, 100, 0}, {10, 20, 30}}}},
  };
  const TemporaryFolder folder;
  for (const PngKind& kind : kinds) {
    for (const int interlace : {PNG_INTERLACE_NONE, PNG_INTERLACE_ADAM7}) {
      SCOPED_TRACE(testing::Message() << kind.name << interlace);
      WritePng(folder / "a.png", kind, interlace);
      Bitmap bitmap;
      const Outcome outcome = Read(folder / "a.png", bitmap);
      ASSERT_TRUE(outcome.Ok()) << outcome.what;
      EXPECT_EQ(bitmap.BitsPerPixel(), kind.depth);
      EXPECT_EQ(bitmap.XResolution(), 300);
      EXPECT_EQ(bitmap.YResolution(), 100);
      for (int x = 0; x < 3; ++x) {
        EXPECT_EQ(ColorAt(bitmap, x, 0), kind.shown[static_cast<size_t>(x)]) << x;
        EXPECT_EQ(ColorAt(bitmap, x, 1), kind.shown[static_cast<size_t>(x)]) << x;
      }
    }
  }
}

// The kinds that PictureWriter doesn't make, one and several in a file.
TEST(PictureReader, PnmFilesGiveAllTheirPictures) {
  struct Shown {
    int bits;
    Color first, last;
  };
  const struct {
    std::string_view text;
    std::vector<Shown> pages;
    size_t warnings = 0;
  } cases[] = {
      {"P1\n# a comment\n2 1\n1 0\n", {{1, {0, 0, 0}, {255, 255, 255}}}},
      {"P2\n2 1\n255\n7 200\n", {{8, {7, 7, 7}, {200, 200, 200}}}},
      {"P3\n2 1\n255\n1 2 3 4 5 6\n", {{24, {1, 2, 3}, {4, 5, 6}}}},
      {std::string_view("P5\n2 1\n65535\n\x07\xFF\xC8\x01", 17), {{8, {8, 8, 8}, {199, 199, 199}}}},
      {"P5 2 1 255\nabP6 2 1 255\nabcdefP4 2 1\n@P2 2 1 9 0 9 P1 2 1 01\n\nP5 2 1 255\ncd\n",
       {{8, {97, 97, 97}, {98, 98, 98}},
        {24, {97, 98, 99}, {100, 101, 102}},
        {1, {255, 255, 255}, {0, 0, 0}},
        {8, {0, 0, 0}, {255, 255, 255}},
        {1, {255, 255, 255}, {0, 0, 0}},
        {8, {99, 99, 99}, {100, 100, 100}}}},
      {"P5 2 1 255\nabcd", {{8, {97, 97, 97}, {98, 98, 98}}}, 1},
      {"P5 2 1 255\nabP7", {{8, {97, 97, 97}, {98, 98, 98}}}, 1},
  };
  const TemporaryFolder folder;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    folder.File("a", AsBytes(c.text));
    PictureReader reader;
    ASSERT_TRUE(reader.Open(folder / "a").Ok());
    ASSERT_EQ(static_cast<size_t>(reader.Pages()), c.pages.size());
    for (size_t i = 0; i < c.pages.size(); ++i) {
      Bitmap bitmap;
      const Outcome outcome = reader.Read(static_cast<int>(i) + 1, bitmap);
      ASSERT_TRUE(outcome.Ok()) << outcome.what;
      EXPECT_EQ(bitmap.BitsPerPixel(), c.pages[i].bits);
      EXPECT_EQ(ColorAt(bitmap, 0, 0), c.pages[i].first);
      EXPECT_EQ(ColorAt(bitmap, 1, 0), c.pages[i].last);
      EXPECT_EQ(outcome.warnings.size(), c.warnings);
    }
  }
  // A second picture that is damaged is one that can't be read, not one that isn't there.
  for (const char* text : {"P5 2 1 255\nabP5 2 1 255\na", "P5 2 1 255\nabP2 2 1 255\n1 x"}) {
    folder.File("a", AsBytes(text));
    Bitmap bitmap;
    EXPECT_TRUE(Read(folder / "a", bitmap).Ok());
    EXPECT_FALSE(Read(folder / "a", bitmap, 2).Ok());
    EXPECT_TRUE(bitmap.Empty());
  }
}

TEST(PictureReader, ACamerasOrientationIsFollowed) {
  const TemporaryFolder folder;
  const Bitmap page = SmoothBitmap(64, 32, 24);
  PictureWriter writer;
  ASSERT_TRUE(writer.Open(folder / "a.jpg").Ok());
  ASSERT_TRUE(writer.AddPage(page).Ok());
  ASSERT_TRUE(writer.Commit().Ok());
  Bytes data = FileBytes(folder / "a.jpg");
  const Bytes exif = {0xFF, 0xE1, 0, 34,   'E', 'x', 'i', 'f', 0, 0, 'M', 'M', 0, 42, 0, 0, 0, 8,
                      0,    1,    1, 0x12, 0,   3,   0,   0,   0, 1, 0,   6,   0, 0,  0, 0, 0, 0};
  data.insert(data.begin() + 2, exif.begin(), exif.end());
  folder.File("a.jpg", data);
  Bitmap bitmap;
  ASSERT_TRUE(Read(folder / "a.jpg", bitmap).Ok());
  ASSERT_EQ(bitmap.Width(), 32);
  EXPECT_EQ(bitmap.XResolution(), 300);
  const Color corner = ColorAt(bitmap, 31, 0), stored = ColorAt(page, 0, 0);
  for (size_t c = 0; c < 3; ++c) EXPECT_NEAR(corner[c], stored[c], 12);
}

TEST(PictureReader, WhatIsNoPictureIsRefused) {
  const TemporaryFolder folder;
  Bitmap bitmap;
  EXPECT_EQ(Read(folder / "missing.png", bitmap).status, K_ERROR_OPEN_READ);
  for (const char* text : {"", "P", "P9 1 1", "GIF89a", "II*", "hello world"}) {
    folder.File("a.png", AsBytes(text));
    EXPECT_EQ(Read(folder / "a.png", bitmap).status, K_ERROR_INVALID_FORMAT) << text;
  }
  // Nor of more pixels than one likes.
  for (const char* name : {"png", "tif", "pgm", "jpg"}) {
    PictureWriter writer;
    const std::string path = folder / (std::string("a.") + name);
    ASSERT_TRUE(writer.Open(path).Ok());
    ASSERT_TRUE(writer.AddPage(RandomBitmap(40, 25, 8)).Ok());
    ASSERT_TRUE(writer.Commit().Ok());
    for (const int64_t limit : {999, 1000}) {
      PictureReader reader;
      ASSERT_TRUE(reader.Open(path, limit).Ok());
      const Outcome outcome = reader.Read(1, bitmap);
      EXPECT_EQ(
          outcome.what,
          limit == 1000 ? "" : "the picture of 40 x 25 pixels is above the limit of 999 pixels");
    }
  }
  // A size that would take gigabytes, from a few bytes.
  for (const char* text : {"P4 100000 100000\n1", "P6 30000 30000 255\n1", "P1 2000000000 2\n1"}) {
    folder.File("a.pnm", AsBytes(text));
    EXPECT_EQ(Read(folder / "a.pnm", bitmap).status, K_ERROR_INVALID_FORMAT) << text;
  }
}

// Every ending, cut anywhere and with random bytes: a picture or a failure with
// words, and nothing on standard error.
TEST(PictureReader, DamagedFilesFailQuietly) {
  const TemporaryFolder folder;
  const Bitmap page = RandomBitmap(60, 60, 8, Colors::kColored);
  std::mt19937 random(5);
  for (const char* ending : {"png", "tif", "ppm", "jpg"}) {
    const std::string path = folder / (std::string("page.") + ending);
    PictureWriter writer;
    ASSERT_TRUE(writer.Open(path).Ok());
    ASSERT_TRUE(writer.AddPage(page).Ok());
    ASSERT_TRUE(writer.Commit().Ok());
    const Bytes good = FileBytes(path);
    testing::internal::CaptureStderr();
    int failed = 0;
    for (int i = 0; i < 120; ++i) {
      Bytes bad = good;
      if (i < 60) {
        bad.resize(good.size() * static_cast<size_t>(i) / 61);
      } else {
        for (int n = 0; n < 4; ++n)
          bad[random() % bad.size()] = static_cast<unsigned char>(random());
      }
      folder.File(path, bad);
      Bitmap bitmap;
      const Outcome outcome = Read(path, bitmap);
      if (i < 60) {
        EXPECT_FALSE(outcome.Ok()) << ending << " cut to " << bad.size();
      }
      // It has checksums.
      if (outcome.Ok() && ending == std::string("png")) {
        EXPECT_EQ(LargestDifference(page, bitmap), 0);
      }
      if (outcome.Ok()) continue;
      ++failed;
      EXPECT_FALSE(outcome.what.empty());
      EXPECT_TRUE(bitmap.Empty());
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << ending;
    EXPECT_GE(failed, 60) << ending;
  }
}

}  // namespace

}  // namespace kz::test
