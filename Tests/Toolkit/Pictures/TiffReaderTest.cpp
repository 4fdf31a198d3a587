// TIFF pages as other programs write them, whole and damaged. The samples are made
// here and written by libtiff; what they must look like is worked out from them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tiffio.h>

#include <fstream>

#include "Tests/Support/FileBuilder.h"
#include "Tests/Support/TestPictures.h"
#include "Toolkit/Pictures/PictureFile.h"

namespace kz::test {

namespace {

using testing::HasSubstr;

// No multiple of a tile's sides, nor of eight.
constexpr uint32_t kWidth = 37, kHeight = 21, kTile = 16;

struct Kind {
  const char* name;
  int photometric;
  int bits;
  std::vector<uint16_t> extras;  // kinds of the samples after the colour's
  int depth;                     // of the picture
};

int ColorSamples(const Kind& kind) {
  return kind.photometric == PHOTOMETRIC_RGB         ? 3
         : kind.photometric == PHOTOMETRIC_SEPARATED ? 4
                                                     : 1;
}

int Samples(const Kind& kind) { return ColorSamples(kind) + static_cast<int>(kind.extras.size()); }

// The samples of a page: any number, but always the same.
int SampleAt(const Kind& kind, uint32_t x, uint32_t y, int sample) {
  const uint32_t hash = (x * 2654435761U ^ y * 2246822519U ^ static_cast<uint32_t>(sample) * 97U);
  return static_cast<int>((hash * 3266489917U >> 13) & ((1U << kind.bits) - 1));
}

uint16_t MapAt(int color, int value) {
  return static_cast<uint16_t>(257 * ((value * 53 + color * 101) & 255));
}

// One row of samples from (x, y) on as libtiff takes it: `plane` -1 is all of them.
Bytes PackedRow(const Kind& kind, uint32_t x, uint32_t y, uint32_t count, int plane) {
  const int samples = plane < 0 ? Samples(kind) : 1;
  Bytes row((count * static_cast<size_t>(samples * kind.bits) + 7) / 8);
  for (uint32_t i = 0; i < count; ++i) {
    for (int s = 0; s < samples; ++s) {
      const int value = SampleAt(kind, x + i, y, plane < 0 ? s : plane);
      const size_t bit = (i * static_cast<size_t>(samples) + static_cast<size_t>(s)) *
                         static_cast<size_t>(kind.bits);
      if (kind.bits == 16) {
        const auto wide = static_cast<uint16_t>(value);
        std::copy_n(reinterpret_cast<const unsigned char*>(&wide), 2, &row[bit / 8]);
      } else {
        row[bit / 8] |=
            static_cast<unsigned char>(value << (8 - kind.bits - static_cast<int>(bit % 8)));
      }
    }
  }
  return row;
}

struct Layout {
  bool tiled = false, planes = false;
  int compression = COMPRESSION_LZW, rowsPerStrip = 8, fillOrder = FILLORDER_MSB2LSB;
  int orientation = 1;
};

void SetTags(TIFF* tiff, const Kind& kind, const Layout& layout) {
  const auto set = [&](ttag_t tag, int value) { TIFFSetField(tiff, tag, value); };
  set(TIFFTAG_IMAGEWIDTH, kWidth);
  set(TIFFTAG_IMAGELENGTH, kHeight);
  set(TIFFTAG_BITSPERSAMPLE, kind.bits);
  set(TIFFTAG_SAMPLESPERPIXEL, Samples(kind));
  set(TIFFTAG_PHOTOMETRIC, kind.photometric);
  set(TIFFTAG_PLANARCONFIG, layout.planes ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
  set(TIFFTAG_COMPRESSION, layout.compression);
  set(TIFFTAG_FILLORDER, layout.fillOrder);
  set(TIFFTAG_ORIENTATION, layout.orientation);
  set(TIFFTAG_RESOLUTIONUNIT, RESUNIT_CENTIMETER);
  TIFFSetField(tiff, TIFFTAG_XRESOLUTION, 100.0);
  TIFFSetField(tiff, TIFFTAG_YRESOLUTION, 50.0);
  if (!kind.extras.empty()) {
    TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, static_cast<int>(kind.extras.size()),
                 kind.extras.data());
  }
  uint16_t maps[3][256];
  for (int i = 0; i < 3 * 256; ++i) maps[i / 256][i % 256] = MapAt(i / 256, i % 256);
  if (kind.photometric == PHOTOMETRIC_PALETTE) {
    TIFFSetField(tiff, TIFFTAG_COLORMAP, maps[0], maps[1], maps[2]);
  }
  if (layout.tiled) {
    set(TIFFTAG_TILEWIDTH, kTile);
    set(TIFFTAG_TILELENGTH, kTile);
  } else {
    set(TIFFTAG_ROWSPERSTRIP, layout.rowsPerStrip);
  }
}

void WriteSamples(TIFF* tiff, const Kind& kind, const Layout& layout) {
  SetTags(tiff, kind, layout);
  for (int plane = layout.planes ? 0 : -1; plane < (layout.planes ? Samples(kind) : 0); ++plane) {
    const auto sample = static_cast<uint16_t>(std::max(plane, 0));
    for (uint32_t y = 0; !layout.tiled && y < kHeight; ++y) {
      TIFFWriteScanline(tiff, PackedRow(kind, 0, y, kWidth, plane).data(), y, sample);
    }
    for (uint32_t y = 0; layout.tiled && y < kHeight; y += kTile) {
      for (uint32_t x = 0; x < kWidth; x += kTile) {
        Bytes tile;
        for (uint32_t i = 0; i < kTile; ++i) tile = tile + PackedRow(kind, x, y + i, kTile, plane);
        TIFFWriteTile(tiff, tile.data(), x, y, 0, sample);
      }
    }
  }
}

void WritePage(const std::string& path, const Kind& kind, const Layout& layout) {
  TIFF* tiff = TIFFOpen(path.c_str(), "w");
  WriteSamples(tiff, kind, layout);
  TIFFClose(tiff);
}

Outcome Read(const std::string& path, Bitmap& bitmap) {
  PictureReader reader;
  const Outcome opened = reader.Open(path);
  EXPECT_TRUE(opened.Ok()) << opened.what;
  EXPECT_EQ(reader.Pages(), 1);
  return reader.Read(1, bitmap);
}

// What a pixel shows of a colour (0 red): 0 to 255, not rounded.
double Shown(const Kind& kind, uint32_t x, uint32_t y, int color) {
  const auto value = [&](int s) {
    return SampleAt(kind, x, y, s) / static_cast<double>((1 << kind.bits) - 1);
  };
  double shown = value(0);
  if (kind.photometric == PHOTOMETRIC_MINISWHITE) shown = 1 - shown;
  if (kind.photometric == PHOTOMETRIC_PALETTE) {
    shown = MapAt(color, SampleAt(kind, x, y, 0)) / 65535.0;
  }
  if (kind.photometric == PHOTOMETRIC_RGB) shown = value(color);
  if (kind.photometric == PHOTOMETRIC_SEPARATED) shown = (1 - value(color)) * (1 - value(3));
  for (size_t i = 0; i < kind.extras.size(); ++i) {
    const double alpha = value(ColorSamples(kind) + static_cast<int>(i));
    if (kind.extras[i] == EXTRASAMPLE_UNASSALPHA) shown = shown * alpha + 1 - alpha;
    if (kind.extras[i] == EXTRASAMPLE_ASSOCALPHA) shown = std::min(shown + 1 - alpha, 1.0);
  }
  return 255 * shown;
}

void ExpectSamples(const std::string& path, const Kind& kind) {
  Bitmap bitmap;
  const Outcome outcome = Read(path, bitmap);
  ASSERT_TRUE(outcome.Ok()) << outcome.what;
  EXPECT_TRUE(outcome.warnings.empty());
  ASSERT_EQ(bitmap.BitsPerPixel(), kind.depth);
  double worst = 0;
  for (uint32_t y = 0; y < kHeight; ++y) {
    for (uint32_t x = 0; x < kWidth; ++x) {
      const Color color = ColorAt(bitmap, static_cast<int>(x), static_cast<int>(y));
      for (int c = 0; c < 3; ++c) {
        worst = std::max(worst, std::abs(Shown(kind, x, y, c) - color[static_cast<size_t>(c)]));
      }
    }
  }
  EXPECT_LT(worst, kind.bits == 16 && !kind.extras.empty() ? 1.6 : 0.51);
}

TEST(TiffReader, StripsTilesAndPlanesOfEveryKindShowTheirSamples) {
  constexpr uint16_t kOther = EXTRASAMPLE_UNSPECIFIED, kAlpha = EXTRASAMPLE_UNASSALPHA,
                     kMultiplied = EXTRASAMPLE_ASSOCALPHA;
  const Kind kinds[] = {
      {"1 bit", PHOTOMETRIC_MINISBLACK, 1, {}, 1},
      {"1 bit, white 0", PHOTOMETRIC_MINISWHITE, 1, {}, 1},
      {"2 bits", PHOTOMETRIC_MINISBLACK, 2, {}, 8},
      {"2 bits, white 0", PHOTOMETRIC_MINISWHITE, 2, {}, 8},
      {"4 bits", PHOTOMETRIC_MINISBLACK, 4, {}, 4},
      {"4 bits, white 0", PHOTOMETRIC_MINISWHITE, 4, {}, 4},
      {"8 bits", PHOTOMETRIC_MINISBLACK, 8, {}, 8},
      {"8 bits, white 0", PHOTOMETRIC_MINISWHITE, 8, {}, 8},
      {"16 bits", PHOTOMETRIC_MINISBLACK, 16, {}, 8},
      {"grey and alpha", PHOTOMETRIC_MINISBLACK, 8, {kAlpha}, 8},
      {"white 0 and alpha", PHOTOMETRIC_MINISWHITE, 8, {kAlpha}, 8},
      {"16 bits and alpha", PHOTOMETRIC_MINISBLACK, 16, {kAlpha}, 8},
      {"grey and another", PHOTOMETRIC_MINISBLACK, 8, {kOther}, 8},
      {"4 bits and another", PHOTOMETRIC_MINISBLACK, 4, {kOther}, 8},
      {"1 bit mapped", PHOTOMETRIC_PALETTE, 1, {}, 1},
      {"2 bits mapped", PHOTOMETRIC_PALETTE, 2, {}, 8},
      {"4 bits mapped", PHOTOMETRIC_PALETTE, 4, {}, 4},
      {"8 bits mapped", PHOTOMETRIC_PALETTE, 8, {}, 8},
      {"mapped and another", PHOTOMETRIC_PALETTE, 8, {kOther}, 8},
      {"RGB", PHOTOMETRIC_RGB, 8, {}, 24},
      {"RGB of 4 bits", PHOTOMETRIC_RGB, 4, {}, 24},
      {"RGB of 16 bits", PHOTOMETRIC_RGB, 16, {}, 24},
      {"RGB and alpha", PHOTOMETRIC_RGB, 8, {kAlpha}, 24},
      {"RGB and its alpha", PHOTOMETRIC_RGB, 8, {kMultiplied}, 24},
      {"RGB and another", PHOTOMETRIC_RGB, 8, {kOther}, 24},
      {"RGB, another and alpha", PHOTOMETRIC_RGB, 16, {kOther, kAlpha}, 24},
      {"CMYK", PHOTOMETRIC_SEPARATED, 8, {}, 24},
      {"CMYK of 16 bits and alpha", PHOTOMETRIC_SEPARATED, 16, {kAlpha}, 24},
  };
  const TemporaryFolder folder;
  for (const Kind& kind : kinds) {
    for (const bool tiled : {false, true}) {
      for (const bool planes : {false, true}) {
        SCOPED_TRACE(testing::Message() << kind.name << (tiled ? ", tiles" : ", strips")
                                        << (planes ? ", planes" : ""));
        WritePage(folder / "a.tif", kind, {.tiled = tiled, .planes = planes});
        ExpectSamples(folder / "a.tif", kind);
      }
    }
  }
  for (const Kind& kind : {kinds[0], kinds[1]}) {
    for (const int fillOrder : {FILLORDER_MSB2LSB, FILLORDER_LSB2MSB}) {
      for (const int rowsPerStrip : {1, 7, 21, 1000}) {
        SCOPED_TRACE(testing::Message() << "Group 4, " << kind.name << fillOrder << rowsPerStrip);
        WritePage(folder / "a.tif", kind,
                  {.compression = COMPRESSION_CCITTFAX4,
                   .rowsPerStrip = rowsPerStrip,
                   .fillOrder = fillOrder});
        ExpectSamples(folder / "a.tif", kind);
      }
    }
  }
}

TEST(TiffReader, TurnedPagesStandUpright) {
  const TemporaryFolder folder;
  const Kind kind = {"", PHOTOMETRIC_MINISBLACK, 8, {}, 8};
  // Which stored corners each orientation shows: 0, 1 (top) and 2, 3.
  const struct {
    int topLeft, topRight;
  } cases[] = {{0, 1}, {1, 0}, {3, 2}, {2, 3}, {0, 2}, {2, 0}, {3, 1}, {1, 3}};
  for (int orientation = 1; orientation <= 8; ++orientation) {
    SCOPED_TRACE(orientation);
    TIFF* tiff = TIFFOpen((folder / "a.tif").c_str(), "w");
    // A thumbnail is no page.
    WriteSamples(tiff, kind, {});
    TIFFSetField(tiff, TIFFTAG_SUBFILETYPE, FILETYPE_REDUCEDIMAGE);
    TIFFWriteDirectory(tiff);
    WriteSamples(tiff, kind, {.orientation = orientation});
    TIFFClose(tiff);
    Bitmap bitmap;
    ASSERT_TRUE(Read(folder / "a.tif", bitmap).Ok());
    EXPECT_EQ(bitmap.Width(), static_cast<int>(orientation < 5 ? kWidth : kHeight));
    EXPECT_EQ(bitmap.XResolution(), orientation < 5 ? 254 : 127);
    const auto corner = [&](int n) {
      return SampleAt(kind, n % 2 == 0 ? 0 : kWidth - 1, n < 2 ? 0 : kHeight - 1, 0);
    };
    EXPECT_EQ(ColorAt(bitmap, 0, 0)[0], corner(cases[orientation - 1].topLeft));
    EXPECT_EQ(ColorAt(bitmap, bitmap.Width() - 1, 0)[0], corner(cases[orientation - 1].topRight));
  }
}

TEST(TiffReader, DataThatEndInTheMidstAreNeverTakenInSilence) {
  const Kind bits = {"", PHOTOMETRIC_MINISWHITE, 1, {}, 1};
  const Kind map = {"", PHOTOMETRIC_PALETTE, 1, {}, 1};
  const Kind bytes = {"", PHOTOMETRIC_MINISBLACK, 8, {}, 8};
  const struct {
    const char* name;
    const Kind& kind;
    int compression;
  } cases[] = {{"G3", bits, COMPRESSION_CCITTFAX3}, {"RLE", bits, COMPRESSION_CCITTRLE},
               {"G4", bits, COMPRESSION_CCITTFAX4}, {"mapped G4", map, COMPRESSION_CCITTFAX4},
               {"none", bytes, COMPRESSION_NONE},   {"PackBits", bytes, COMPRESSION_PACKBITS},
               {"LZW", bytes, COMPRESSION_LZW},     {"deflate", bytes, COMPRESSION_ADOBE_DEFLATE},
               {"JPEG", bytes, COMPRESSION_JPEG}};
  const TemporaryFolder folder;
  for (const auto& c : cases) {
    for (const bool tiled : {false, true}) {
      WritePage(folder / "whole.tif", c.kind, {.tiled = tiled, .compression = c.compression});
      TIFF* tiff = TIFFOpen((folder / "whole.tif").c_str(), "r");
      Bytes data(static_cast<size_t>(TIFFRawStripSize(tiff, 1)));
      (tiled ? TIFFReadRawTile : TIFFReadRawStrip)(tiff, 1, data.data(),
                                                   static_cast<tmsize_t>(data.size()));
      TIFFClose(tiff);
      for (size_t left = data.size() * 3 / 4; left > 0; left /= 2) {
        SCOPED_TRACE(testing::Message() << c.name << (tiled ? " tile" : " strip") << " cut from "
                                        << data.size() << " to " << left);
        WritePage(folder / "cut.tif", c.kind, {.tiled = tiled, .compression = c.compression});
        tiff = TIFFOpen((folder / "cut.tif").c_str(), "r+");
        (tiled ? TIFFWriteRawTile : TIFFWriteRawStrip)(tiff, 1, data.data(),
                                                       static_cast<tmsize_t>(left));
        TIFFRewriteDirectory(tiff);
        TIFFClose(tiff);
        Bitmap bitmap;
        const Outcome outcome = Read(folder / "cut.tif", bitmap);
        EXPECT_TRUE(!outcome.Ok() || !outcome.warnings.empty());
        EXPECT_EQ(outcome.Ok(), outcome.what.empty());
        // Half a strip is no strip, though libtiff says so.
        EXPECT_FALSE(outcome.Ok() && c.name == std::string("G4") && !tiled);
      }
    }
  }
}

// A TIFF made by hand, little-endian: directories of numbers.
struct Entry {
  unsigned tag, type, count, value;
};

void PutNumber(Bytes& bytes, size_t at, uint64_t number, size_t size) {
  if (bytes.size() < at + size) bytes.resize(at + size);
  for (size_t i = 0; i < size; ++i) bytes[at + i] = static_cast<unsigned char>(number >> 8 * i);
}

void PutDirectory(Bytes& bytes, size_t at, const std::vector<Entry>& entries, size_t next) {
  PutNumber(bytes, at, entries.size(), 2);
  at += 2;
  for (const Entry& entry : entries) {
    PutNumber(bytes, at, entry.tag, 2);
    PutNumber(bytes, at + 2, entry.type, 2);
    PutNumber(bytes, at + 4, entry.count, 4);
    PutNumber(bytes, at + 8, entry.value, 4);
    at += 12;
  }
  PutNumber(bytes, at, next, 4);
}

// Bytes that this process has asked the system for.
uint64_t BytesRead() {
  std::ifstream counters("/proc/self/io");
  std::string name;
  uint64_t bytes = 0;
  counters >> name >> bytes;
  EXPECT_EQ(name, "rchar:");
  return bytes;
}

TEST(TiffReader, TheSameBytesAreNotReadAgainAndAgain) {
  constexpr unsigned kShort = 3, kLong = 4, kUndefined = 7;
  constexpr size_t kHeader = 8, kData = size_t{1} << 20;
  constexpr unsigned kMany = 4000;
  const std::vector<Entry> page = {
      {256, kShort, 1, 8}, {257, kShort, 1, kMany}, {258, kShort, 1, 1},
      {259, kShort, 1, 4}, {262, kShort, 1, 0},     {273, kLong, kMany, 0},
      {277, kShort, 1, 1}, {278, kShort, 1, 1},     {279, kLong, kMany, 0}};
  const TemporaryFolder folder;
  for (const bool strips : {true, false}) {
    SCOPED_TRACE(strips ? "strips that are all of the file" : "profiles that are");
    Bytes file(kHeader + kData, 0xFF);  // as Group 4: white row after white row
    PutNumber(file, 0, 0x2A4949, 4);
    size_t at = file.size();
    PutNumber(file, 4, at, 4);
    if (strips) {
      std::vector<Entry> entries = page;
      const size_t arrays = at + 2 + 12 * page.size() + 4;
      entries[5].value = static_cast<unsigned>(arrays);
      entries[8].value = static_cast<unsigned>(arrays + 4 * kMany);
      PutDirectory(file, at, entries, 0);
      for (unsigned i = 0; i < kMany; ++i) {
        PutNumber(file, arrays + 4 * i, kHeader, 4);
        PutNumber(file, arrays + 4 * (kMany + i), kData, 4);
      }
    } else {
      for (unsigned i = 0; i < kMany; ++i) {
        std::vector<Entry> entries = page;
        entries[1].value = 1;
        entries[5] = {273, kLong, 1, kHeader};
        entries[8] = {279, kLong, 1, kData};
        entries.push_back({34675, kUndefined, kData, kHeader});
        const size_t next = at + 2 + 12 * entries.size() + 4;
        PutDirectory(file, at, entries, i + 1 < kMany ? next : 0);
        at = next;
      }
    }
    folder.File("a.tif", file);
    const uint64_t before = BytesRead();
    PictureReader reader;
    Outcome outcome = reader.Open(folder / "a.tif");
    Bitmap bitmap;
    for (int i = 1; i <= reader.Pages() && outcome.Ok(); ++i) outcome = reader.Read(i, bitmap);
    EXPECT_LT(BytesRead() - before, 20 * file.size());
    EXPECT_THAT(outcome.what, HasSubstr("too many times"));
  }
  // A list of pages without an end.
  Bytes file = {'I', 'I', 42, 0, 8, 0, 0, 0};
  std::vector<Entry> entries = page;
  entries[1].value = 1;
  entries[5] = {273, kLong, 1, 8};
  entries[8] = {279, kLong, 1, 1};
  PutDirectory(file, 8, entries, 8);
  folder.File("a.tif", file);
  PictureReader reader;
  EXPECT_THAT(reader.Open(folder / "a.tif").what, HasSubstr("oop"));
}

TEST(TiffReader, PagesAreReadAsOftenAsOneLikes) {
  const TemporaryFolder folder;
  WritePage(folder / "a.tif", {"", PHOTOMETRIC_RGB, 16, {}, 24}, {});
  PictureReader reader;
  ASSERT_TRUE(reader.Open(folder / "a.tif").Ok());
  Bitmap bitmap;
  for (int i = 0; i < 50; ++i) EXPECT_TRUE(reader.Read(1, bitmap).Ok()) << i;
}

TEST(TiffReader, TilesOutOfProportionAreRefused) {
  const TemporaryFolder folder;
  TIFF* tiff = TIFFOpen((folder / "a.tif").c_str(), "w");
  SetTags(tiff, {"", PHOTOMETRIC_MINISBLACK, 8, {}, 8},
          {.tiled = true, .compression = COMPRESSION_ADOBE_DEFLATE});
  TIFFSetField(tiff, TIFFTAG_TILEWIDTH, 1 << 14);
  TIFFSetField(tiff, TIFFTAG_TILELENGTH, 1 << 14);
  Bytes tile(size_t{1} << 28);
  TIFFWriteTile(tiff, tile.data(), 0, 0, 0, 0);
  TIFFClose(tiff);
  Bitmap bitmap;
  EXPECT_THAT(Read(folder / "a.tif", bitmap).what, HasSubstr("out of all proportion"));
}

}  // namespace

}  // namespace kz::test
