// Picture files of other programs, whole and damaged.
#include <gtest/gtest.h>
#include <leptonica/allheaders.h>
#include <tiffio.h>

#include <sys/stat.h>

#include "Host/Toolkit/PictureFile.h"
#include "Tests/Toolkit/TestPictures.h"

namespace kz::test {

namespace {

Outcome Read(const std::string& path, Bitmap& bitmap, int page = 1) {
  PictureReader reader;
  Outcome outcome = reader.Open(path);
  return outcome.Ok() ? reader.Read(page, bitmap) : outcome;
}

// A 4 x 3 page as a TIFF of one sample or more.
struct TiffPage {
  uint16_t bits = 8, samples = 1, photometric = PHOTOMETRIC_MINISBLACK;
  uint16_t orientation = ORIENTATION_TOPLEFT;
  uint32_t kind = 0;
};

constexpr int kWidth = 4, kHeight = 3;

void WriteTiffPage(TIFF* tiff, const TiffPage& page, const Bytes& rows,
                   const uint16_t* map = nullptr) {
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, kWidth);
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, kHeight);
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, page.bits);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, page.samples);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, page.photometric);
  TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tiff, TIFFTAG_ORIENTATION, page.orientation);
  TIFFSetField(tiff, TIFFTAG_SUBFILETYPE, page.kind);
  TIFFSetField(tiff, TIFFTAG_XRESOLUTION, 100.0);
  TIFFSetField(tiff, TIFFTAG_YRESOLUTION, 50.0);
  TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_CENTIMETER);
  if (map != nullptr) TIFFSetField(tiff, TIFFTAG_COLORMAP, map, map, map);
  Bytes copy = rows;
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, kHeight);
  const size_t rowBytes = rows.size() / kHeight;
  for (size_t y = 0; y < kHeight; ++y) {
    TIFFWriteScanline(tiff, copy.data() + y * rowBytes, static_cast<uint32_t>(y));
  }
  TIFFWriteDirectory(tiff);
}

TEST(PictureReader, TiffPagesOfManyKinds) {
  constexpr uint16_t kMinIsWhite = PHOTOMETRIC_MINISWHITE, kPalette = PHOTOMETRIC_PALETTE;
  const uint16_t map[4] = {0, 20 * 257, 40 * 257, 255 * 257};
  // The data of the first row, and the greys that it shows.
  const struct {
    const char* name;
    TiffPage page;
    Bytes row;
    int bits;
    Bytes greys;
  } cases[] = {
      {"min is black", {.bits = 1}, {0x50}, 1, {0, 255, 0, 255}},
      {"min is white", {.bits = 1, .photometric = kMinIsWhite}, {0x50}, 1, {255, 0, 255, 0}},
      {"2 bits", {.bits = 2}, {0x1B}, 8, {0, 85, 170, 255}},
      {"2 bits, white", {.bits = 2, .photometric = kMinIsWhite}, {0x1B}, 8, {255, 170, 85, 0}},
      {"2 bits mapped", {.bits = 2, .photometric = kPalette}, {0x1B}, 8, {0, 20, 40, 255}},
      {"4 bits", {.bits = 4}, {0x01, 0xF8}, 4, {0, 17, 255, 136}},
      {"white", {.photometric = kMinIsWhite}, {255, 254, 155, 0}, 8, {0, 1, 100, 255}},
      {"two samples", {.samples = 2}, {0, 9, 1, 9, 100, 9, 255, 9}, 8, {0, 1, 100, 255}},
      {"16 bits", {.bits = 16}, {0, 0, 0, 1, 9, 100, 255, 255}, 8, {0, 1, 100, 255}},
  };
  const TemporaryFolder folder;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Bitmap bitmap;
    Bytes rows = c.row;
    rows.resize(3 * rows.size());
    TIFF* tiff = TIFFOpen((folder / "a.tif").c_str(), "w");
    WriteTiffPage(tiff, c.page, rows, c.page.photometric == kPalette ? map : nullptr);
    TIFFClose(tiff);
    const Outcome outcome = Read(folder / "a.tif", bitmap);
    ASSERT_TRUE(outcome.Ok()) << outcome.what;
    ASSERT_EQ(bitmap.Width(), kWidth);
    EXPECT_EQ(bitmap.XResolution(), 254);
    EXPECT_EQ(bitmap.YResolution(), 127);
    EXPECT_EQ(bitmap.BitsPerPixel(), c.bits);
    for (int x = 0; x < kWidth; ++x) {
      const int grey = c.greys[static_cast<size_t>(x)];
      EXPECT_EQ(ColorAt(bitmap, x, 0), (Color{grey, grey, grey})) << x;
    }
  }
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
    WriteTiffPage(tiff, {.kind = FILETYPE_REDUCEDIMAGE}, Bytes(12, 99));
    WriteTiffPage(tiff, {.orientation = static_cast<uint16_t>(c.orientation)},
                  {1, 0, 0, 2, 0, 0, 0, 0, 3, 0, 0, 4});
    TIFFClose(tiff);
    Bitmap bitmap;
    ASSERT_TRUE(Read(folder / "a.tif", bitmap).Ok());
    EXPECT_EQ(bitmap.Width(), c.orientation < 5 ? kWidth : kHeight);
    EXPECT_EQ(ColorAt(bitmap, 0, 0)[0], c.topLeft) << c.orientation;
    EXPECT_EQ(ColorAt(bitmap, bitmap.Width() - 1, 0)[0], c.topRight) << c.orientation;
    EXPECT_EQ(bitmap.XResolution(), c.orientation < 5 ? 254 : 127);
  }
}

TEST(PictureReader, PngWithAlphaShowsPaper) {
  const TemporaryFolder folder;
  PIX* pix = pixCreate(3, 1, 32);
  pixSetSpp(pix, 4);
  const int alpha[] = {255, 128, 0};
  for (int x = 0; x < 3; ++x) {
    l_uint32 pixel = 0;
    composeRGBAPixel(200, 100, 0, alpha[x], &pixel);
    pixSetPixel(pix, x, 0, pixel);
  }
  pixWrite((folder / "a.png").c_str(), pix, IFF_PNG);
  pixDestroy(&pix);
  Bitmap bitmap;
  ASSERT_TRUE(Read(folder / "a.png", bitmap).Ok());
  EXPECT_EQ(ColorAt(bitmap, 0, 0), (Color{200, 100, 0}));
  EXPECT_EQ(ColorAt(bitmap, 1, 0), (Color{227, 177, 127}));
  EXPECT_EQ(ColorAt(bitmap, 2, 0), (Color{255, 255, 255}));
}

// The kinds that PictureWriter doesn't make.
TEST(PictureReader, PnmAsTextAndOfWideSamples) {
  const TemporaryFolder folder;
  const struct {
    std::string_view text;
    int bits;
    Color first, last;
  } cases[] = {
      {"P1\n# a comment\n2 1\n1 0\n", 1, {0, 0, 0}, {255, 255, 255}},
      {"P2\n2 1\n255\n7 200\n", 8, {7, 7, 7}, {200, 200, 200}},
      {"P3\n2 1\n255\n1 2 3 4 5 6\n", 24, {1, 2, 3}, {4, 5, 6}},
      {std::string_view("P5\n2 1\n65535\n\x07\xFF\xC8\x01", 17), 8, {8, 8, 8}, {199, 199, 199}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    folder.File("a", AsBytes(c.text));
    Bitmap bitmap;
    const Outcome outcome = Read(folder / "a", bitmap);
    ASSERT_TRUE(outcome.Ok()) << outcome.what;
    EXPECT_EQ(bitmap.BitsPerPixel(), c.bits);
    EXPECT_EQ(ColorAt(bitmap, 0, 0), c.first);
    EXPECT_EQ(ColorAt(bitmap, 1, 0), c.last);
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
