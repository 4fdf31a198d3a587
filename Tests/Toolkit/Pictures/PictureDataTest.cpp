// Coded data that PictureWriter carries as they are: bit by bit in the file, and pixel by
// pixel as libtiff and poppler show them.
#include <gtest/gtest.h>
#include <tiffio.h>

#include <climits>
#include <cstdio>
#include <memory>

#include "Tests/Support/TestPictures.h"
#include "Tests/Toolkit/Pictures/JpegPatches.h"
#include "Tests/Toolkit/Pictures/PdfPages.h"
#include "Toolkit/Pictures/PictureFile.h"

namespace kz::test {

namespace {

constexpr uint16_t kGroup3 = COMPRESSION_CCITTFAX3;
constexpr uint16_t kGroup4 = COMPRESSION_CCITTFAX4;

// A coding, as libtiff makes it and as a record says it.
struct Coding {
  const char* name;
  uint16_t compression;
  uint32_t options;  // of Group 3
  int mode;          // libtiff's fax mode; -1: as it comes
  bool cutMarker;    // the marker at the end is taken off
  PictureData record;
  bool inTiff;
};

PictureData Record(PictureCoding coding, bool eols, bool alignedRows, bool alignedEols, bool end) {
  PictureData data;
  data.coding = coding;
  data.hasEndOfLines = eols;
  data.alignedRows = alignedRows;
  data.alignedEndOfLines = alignedEols;
  data.endsWithMarker = end;
  return data;
}

std::vector<Coding> Codings() {
  constexpr auto k4 = PictureCoding::kGroup4;
  constexpr auto k1 = PictureCoding::kGroup3OneD;
  constexpr auto k2 = PictureCoding::kGroup3TwoD;
  constexpr uint32_t twoD = GROUP3OPT_2DENCODING, fill = GROUP3OPT_FILLBITS;
  constexpr int noEol = FAXMODE_NORTC | FAXMODE_NOEOL;
  return {
      {"G4 with EOFB", kGroup4, 0, -1, false, Record(k4, false, false, false, true), true},
      {"G4 without", kGroup4, 0, -1, true, Record(k4, false, false, false, false), true},
      {"G3, EOL, RTC", kGroup3, 0, 0, false, Record(k1, true, false, false, true), true},
      {"G3, EOL", kGroup3, 0, FAXMODE_NORTC, false, Record(k1, true, false, false, false), true},
      {"G3, aligned EOL, RTC", kGroup3, fill, 0, false, Record(k1, true, false, true, true), true},
      {"G3, aligned EOL", kGroup3, fill, FAXMODE_NORTC, false, Record(k1, true, false, true, false),
       true},
      {"G3, aligned rows", COMPRESSION_CCITTRLE, 0, -1, false,
       Record(k1, false, true, false, false), true},
      {"G3, bare rows", kGroup3, 0, noEol, false, Record(k1, false, false, false, false), false},
      {"G3 2-D, EOL, RTC", kGroup3, twoD, 0, false, Record(k2, true, false, false, true), true},
      {"G3 2-D, EOL", kGroup3, twoD, FAXMODE_NORTC, false, Record(k2, true, false, false, false),
       true},
      {"G3 2-D, aligned EOL, RTC", kGroup3, twoD | fill, 0, false,
       Record(k2, true, false, true, true), true},
      {"G3 2-D, aligned EOL", kGroup3, twoD | fill, FAXMODE_NORTC, false,
       Record(k2, true, false, true, false), true},
  };
}

struct TiffCloser {
  void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};
using Tiff = std::unique_ptr<TIFF, TiffCloser>;

Bytes RawStrip(TIFF* tiff) {
  Bytes data(static_cast<size_t>(TIFFRawStripSize(tiff, 0)));
  EXPECT_EQ(TIFFReadRawStrip(tiff, 0, data.data(), static_cast<tmsize_t>(data.size())),
            static_cast<tmsize_t>(data.size()));
  return data;
}

// Takes EOFB, the last 24 bits but for zeros, off.
void CutMarker(Bytes& data) {
  size_t bits = data.size() * 8;
  while ((data[(bits - 1) / 8] >> (7 - (bits - 1) % 8) & 1) == 0) --bits;
  bits -= 24;
  data.resize((bits + 7) / 8);
  if (bits % 8 != 0) data.back() &= static_cast<unsigned char>(0xFF00 >> bits % 8);
}

// The rows of a bitmap, 1 = black, coded by libtiff.
Bytes EncodeFax(const Bitmap& bitmap, const Coding& coding, const std::string& path) {
  {
    const Tiff tiff(TIFFOpen(path.c_str(), "w"));
    TIFFSetField(tiff.get(), TIFFTAG_IMAGEWIDTH, bitmap.Width());
    TIFFSetField(tiff.get(), TIFFTAG_IMAGELENGTH, bitmap.Height());
    TIFFSetField(tiff.get(), TIFFTAG_BITSPERSAMPLE, 1);
    TIFFSetField(tiff.get(), TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(tiff.get(), TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE);
    TIFFSetField(tiff.get(), TIFFTAG_ROWSPERSTRIP, bitmap.Height());
    TIFFSetField(tiff.get(), TIFFTAG_COMPRESSION, coding.compression);
    if (coding.compression == kGroup3) {
      TIFFSetField(tiff.get(), TIFFTAG_GROUP3OPTIONS, coding.options);
    }
    if (coding.mode >= 0) TIFFSetField(tiff.get(), TIFFTAG_FAXMODE, coding.mode);
    for (int y = 0; y < bitmap.Height(); ++y) {
      const unsigned char* row = bitmap.TopDownRow(y);
      Bytes copy(row, row + bitmap.BytesPerLine());
      EXPECT_EQ(TIFFWriteScanline(tiff.get(), copy.data(), static_cast<uint32_t>(y)), 1);
    }
  }
  Bytes data = RawStrip(Tiff(TIFFOpen(path.c_str(), "r")).get());
  if (coding.cutMarker) CutMarker(data);
  return data;
}

// Runs of all lengths, and rows that repeat the one above, as on a page.
Bitmap FaxPicture(int width, int height) {
  Bitmap bitmap;
  if (bitmap.Create(width, height, 1) != K_SUCCESS) return bitmap;
  std::mt19937 random(static_cast<unsigned>(width * height));
  for (int y = 0; y < height; ++y) {
    unsigned char* row = bitmap.TopDownRow(y);
    if (y > 0 && random() % 3 == 0) {
      std::copy_n(bitmap.TopDownRow(y - 1), bitmap.BytesPerLine(), row);
      continue;
    }
    bool black = random() % 4 == 0;
    for (int x = 0; x < width; black = !black) {
      const int length = 1 + static_cast<int>(random() % (random() % 8 == 0 ? 900 : 12));
      for (const int end = std::min(x + length, width); x < end; ++x) {
        if (black) row[x / 8] |= static_cast<unsigned char>(0x80 >> x % 8);
      }
    }
  }
  return bitmap;
}

// A page of data and what it must show.
struct FaxCase {
  std::string name;
  PictureData data;
  const Bitmap* bitmap;
  bool inTiff;
  Color Expected(int x, int y) const {
    const Color color = ColorAt(*bitmap, x, data.bottomUp ? data.height - 1 - y : y);
    return data.whiteIsOne ? Color{255 - color[0], 255 - color[1], 255 - color[2]} : color;
  }
};

// Every coding with every polarity and order of rows, for each of the pictures.
std::vector<FaxCase> FaxCases(const std::vector<Bitmap>& bitmaps, const TemporaryFolder& folder) {
  std::vector<FaxCase> cases;
  for (const Coding& coding : Codings()) {
    for (const Bitmap& bitmap : bitmaps) {
      const Bytes data = EncodeFax(bitmap, coding, folder / "coded.tif");
      for (const bool bottomUp : {false, true}) {
        for (const bool whiteIsOne : {false, true}) {
          FaxCase one{coding.name, coding.record, &bitmap, coding.inTiff};
          one.name.append(" ").append(std::to_string(bitmap.Width()));
          if (bottomUp) one.name += " bottom-up";
          if (whiteIsOne) one.name += " white is 1";
          one.data.width = bitmap.Width();
          one.data.height = bitmap.Height();
          // A pixel of the page's raster as pdftoppm draws it.
          one.data.xResolution = one.data.yResolution = 72;
          one.data.bottomUp = bottomUp;
          one.data.whiteIsOne = whiteIsOne;
          one.data.data = data;
          cases.push_back(std::move(one));
        }
      }
    }
  }
  return cases;
}

std::vector<Bitmap> FaxPictures() {
  std::vector<Bitmap> bitmaps;
  bitmaps.push_back(FaxPicture(1, 1));
  bitmaps.push_back(FaxPicture(77, 33));
  bitmaps.push_back(FaxPicture(2560, 8));
  return bitmaps;
}

int g_complaints = 0;

TEST(PictureData, FaxDataInATifAreAsTheyWere) {
  const TemporaryFolder folder;
  const std::vector<Bitmap> bitmaps = FaxPictures();
  const std::vector<FaxCase> cases = FaxCases(bitmaps, folder);
  const Bitmap deep = RandomBitmap(40, 20, 8);
  PictureWriter writer;
  ASSERT_TRUE(writer.Open(folder / "all.tif").Ok());
  std::vector<const FaxCase*> written;
  for (const FaxCase& one : cases) {
    SCOPED_TRACE(one.name);
    ASSERT_EQ(writer.Takes(one.data), one.inTiff);
    if (!one.inTiff) continue;
    // A page that libtiff codes leaves its buffers to the next one.
    if (written.size() % 5 == 0) {
      ASSERT_TRUE(writer.AddPage(deep).Ok());
    }
    const Outcome outcome = writer.AddData(one.data);
    ASSERT_TRUE(outcome.Ok()) << outcome.what;
    written.push_back(&one);
  }
  ASSERT_TRUE(writer.Commit().Ok());

  g_complaints = 0;
  const auto count = [](const char*, const char*, va_list) { ++g_complaints; };
  const auto oldError = TIFFSetErrorHandler(count);
  const auto oldWarning = TIFFSetWarningHandler(count);
  {
    const Tiff tiff(TIFFOpen((folder / "all.tif").c_str(), "r"));
    for (size_t i = 0; i < written.size(); ++i) {
      const FaxCase& one = *written[i];
      SCOPED_TRACE(one.name);
      if (i > 0) {
        ASSERT_EQ(TIFFReadDirectory(tiff.get()), 1);
      }
      if (i % 5 == 0) {
        ASSERT_EQ(TIFFReadDirectory(tiff.get()), 1);
      }
      ASSERT_EQ(TIFFNumberOfStrips(tiff.get()), 1U);
      ASSERT_EQ(RawStrip(tiff.get()), one.data.data);
      std::vector<uint32_t> pixels(static_cast<size_t>(one.data.width) *
                                   static_cast<size_t>(one.data.height));
      ASSERT_EQ(TIFFReadRGBAImageOriented(tiff.get(), static_cast<uint32_t>(one.data.width),
                                          static_cast<uint32_t>(one.data.height), pixels.data(),
                                          ORIENTATION_TOPLEFT, 1),
                1);
      EXPECT_EQ(g_complaints, 0);
      for (int y = 0; y < one.data.height; ++y) {
        for (int x = 0; x < one.data.width; ++x) {
          const uint32_t pixel =
              pixels[static_cast<size_t>(y) * static_cast<size_t>(one.data.width) +
                     static_cast<size_t>(x)];
          ASSERT_EQ(static_cast<int>(TIFFGetR(pixel)), one.Expected(x, y)[0]) << x << " " << y;
        }
      }
    }
    EXPECT_EQ(TIFFReadDirectory(tiff.get()), 0);
  }
  TIFFSetErrorHandler(oldError);
  TIFFSetWarningHandler(oldWarning);
}

TEST(PictureData, FaxDataInAPdfAreAsTheyWere) {
  const TemporaryFolder folder;
  const std::vector<Bitmap> bitmaps = FaxPictures();
  const std::vector<FaxCase> cases = FaxCases(bitmaps, folder);
  PictureWriter writer;
  ASSERT_TRUE(writer.Open(folder / "all.pdf").Ok());
  for (const FaxCase& one : cases) {
    SCOPED_TRACE(one.name);
    const Outcome outcome = writer.AddData(one.data);
    ASSERT_TRUE(outcome.Ok()) << outcome.what;
  }
  ASSERT_TRUE(writer.Commit().Ok());
  const Pdf pdf(folder / "all.pdf");
  ExpectPdfIsSound(folder / "all.pdf");
  const std::vector<Bitmap> pages = DrawnPages(folder, "all.pdf");
  ASSERT_EQ(pages.size(), cases.size());
  for (size_t i = 0; i < cases.size(); ++i) {
    const FaxCase& one = cases[i];
    SCOPED_TRACE(one.name);
    EXPECT_EQ(pdf.Stream(3 * i + 5), one.data.data);
    ASSERT_EQ(pages[i].Width(), kDrawnPixels * one.data.width);
    ASSERT_EQ(pages[i].Height(), kDrawnPixels * one.data.height);
    for (int y = 0; y < one.data.height; ++y) {
      for (int x = 0; x < one.data.width; ++x) {
        ASSERT_EQ(DrawnAt(pages[i], x, y), one.Expected(x, y)) << x << " " << y;
      }
    }
  }
}

TEST(PictureData, WhatAFormatCantCarryIsRefusedAndLeavesTheFileAsItWas) {
  const TemporaryFolder folder;
  PictureData fax = Record(PictureCoding::kGroup4, false, false, false, true);
  fax.width = fax.height = 1;
  fax.data = {0x80, 0x08, 0x00, 0x80};
  PictureData jpeg = fax;
  jpeg.coding = PictureCoding::kJpeg;
  jpeg.components = 3;
  PictureData bare = Record(PictureCoding::kGroup3TwoD, false, false, false, false);
  bare.width = bare.height = 1;
  PictureData two = jpeg;
  two.components = 2;
  PictureData empty = fax;
  empty.width = 0;
  PictureData huge = fax;
  huge.width = huge.height = INT_MAX;
  const struct {
    const char* name;
    const PictureData& data;
    bool taken;
  } cases[] = {
      {"a.tif", fax, true},    {"a.pdf", fax, true},    {"a.png", fax, false},
      {"a.jpg", jpeg, false},  {"a.tif", jpeg, false},  {"a.pdf", jpeg, true},
      {"a.tif", bare, false},  {"a.pdf", bare, false},  {"a.pdf", two, false},
      {"a.tif", empty, false}, {"a.pdf", empty, false}, {"a.tif", huge, false},
      {"a.ppm", fax, false},
  };
  for (const auto& one : cases) {
    PictureWriter writer;
    EXPECT_FALSE(writer.Takes(one.data)) << "without a file";
    ASSERT_TRUE(writer.Open(folder / one.name).Ok());
    EXPECT_EQ(writer.Takes(one.data), one.taken) << one.name;
    PictureData data = one.data;
    data.data = {1};
    if (!one.taken) {
      EXPECT_EQ(writer.AddData(data).status, K_ERROR_SAVE_FORMAT);
    }
    data.data.clear();
    EXPECT_EQ(writer.AddData(data).status, K_ERROR_INVALID_FORMAT);
    // The writer goes on.
    EXPECT_TRUE(writer.AddPage(RandomBitmap(9, 9, 1)).Ok());
    EXPECT_TRUE(writer.Commit().Ok());
  }
}

TEST(PictureData, JpegDataInAPdfShowTheirColours) {
  const TemporaryFolder folder;
  constexpr int size = 48;
  const struct {
    const char* name;
    JpegKind kind;
    int components;
    bool inverted;
  } cases[] = {
      {"grey", JpegKind::Gray, 1, false},      {"YCbCr", JpegKind::YCbCr, 3, false},
      {"RGB", JpegKind::PlainRgb, 3, false},   {"inks", JpegKind::Inks, 4, false},
      {"Adobe", JpegKind::AdobeInks, 4, true}, {"YCCK", JpegKind::AdobeYcck, 4, true},
  };
  PictureWriter writer;
  ASSERT_TRUE(writer.Open(folder / "jpegs.pdf").Ok());
  std::vector<Bytes> written;
  for (const auto& one : cases) {
    for (const bool bottomUp : {false, true}) {
      PictureData data;
      data.coding = PictureCoding::kJpeg;
      data.components = one.components;
      data.invertedInks = one.inverted;
      data.bottomUp = bottomUp;
      data.width = data.height = size;
      data.xResolution = data.yResolution = 72;
      data.data = EncodePatches(one.kind, size);
      const Outcome outcome = writer.AddData(data);
      ASSERT_TRUE(outcome.Ok()) << outcome.what;
      written.push_back(data.data);
    }
  }
  ASSERT_TRUE(writer.Commit().Ok());
  const Pdf pdf(folder / "jpegs.pdf");
  ExpectPdfIsSound(folder / "jpegs.pdf");
  const std::vector<Bitmap> pages = DrawnPages(folder, "jpegs.pdf");
  ASSERT_EQ(pages.size(), written.size());
  for (size_t i = 0; i < pages.size(); ++i) {
    SCOPED_TRACE(cases[i / 2].name);
    EXPECT_EQ(pdf.Stream(3 * i + 5), written[i]);
    const bool bottomUp = i % 2 == 1;
    const bool gray = cases[i / 2].kind == JpegKind::Gray;
    for (int patch = 0; patch < 4; ++patch) {
      const int x = patch % 2 * size / 2 + size / 4, y = patch / 2 * size / 2 + size / 4;
      const Color seen = DrawnAt(pages[i], x, bottomUp ? size - 1 - y : y);
      for (size_t c = 0; c < 3; ++c) {
        // Inks are mixed in more than one way; white and red without other inks are near.
        EXPECT_NEAR(seen[c], PatchColor(patch, gray)[c], i / 2 < 3 ? 6 : 60) << patch << " " << c;
      }
    }
  }
}

}  // namespace

}  // namespace kz::test
