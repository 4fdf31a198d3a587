// TIFF pages as other programs write them, whole and damaged. The samples are made
// here and written by libtiff; what they must look like is worked out from them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tiffio.h>

#include <fstream>

#include "Host/Toolkit/PictureFile.h"
#include "Tests/Filter/FileBuilder.h"
#include "Tests/Toolkit/TestPictures.h"

namespace kz::test {

namespace {

using testing::HasSubstr;

// No multiple of a tile's sides, nor of eight.
constexpr uint32_t kWidth = 37, kHeight = 21, kTile = 16;

struct Kind {
  const char* name;
  int photometric;
  int bits;
  std::vector<uint16_t> extras;  // kinds of the samples behind the colour's
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

void SetTags(TIFF* tiff, const Kind& kind, bool tiled, bool planes, int compression) {
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, kWidth);
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, kHeight);
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, kind.bits);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, Samples(kind));
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, kind.photometric);
  TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, planes ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
  if (!kind.extras.empty()) {
    TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, static_cast<int>(kind.extras.size()),
                 kind.extras.data());
  }
  uint16_t maps[3][256];
  for (int c = 0; c < 3; ++c) {
    for (int i = 0; i < 256; ++i) maps[c][i] = MapAt(c, i);
  }
  if (kind.photometric == PHOTOMETRIC_PALETTE) {
    TIFFSetField(tiff, TIFFTAG_COLORMAP, maps[0], maps[1], maps[2]);
  }
  if (tiled) {
    TIFFSetField(tiff, TIFFTAG_TILEWIDTH, kTile);
    TIFFSetField(tiff, TIFFTAG_TILELENGTH, kTile);
  } else {
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 8);
  }
}

void WritePage(const std::string& path, const Kind& kind, bool tiled, bool planes,
               int compression = COMPRESSION_LZW) {
  TIFF* tiff = TIFFOpen(path.c_str(), "w");
  SetTags(tiff, kind, tiled, planes, compression);
  for (int plane = planes ? 0 : -1; plane < (planes ? Samples(kind) : 0); ++plane) {
    const auto sample = static_cast<uint16_t>(std::max(plane, 0));
    for (uint32_t y = 0; !tiled && y < kHeight; ++y) {
      TIFFWriteScanline(tiff, PackedRow(kind, 0, y, kWidth, plane).data(), y, sample);
    }
    for (uint32_t y = 0; tiled && y < kHeight; y += kTile) {
      for (uint32_t x = 0; x < kWidth; x += kTile) {
        Bytes tile;
        for (uint32_t i = 0; i < kTile; ++i) tile = tile + PackedRow(kind, x, y + i, kTile, plane);
        TIFFWriteTile(tiff, tile.data(), x, y, 0, sample);
      }
    }
  }
  TIFFClose(tiff);
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
        WritePage(folder / "a.tif", kind, tiled, planes);
        PictureReader reader;
        ASSERT_TRUE(reader.Open(folder / "a.tif").Ok());
        Bitmap bitmap;
        const Outcome outcome = reader.Read(1, bitmap);
        ASSERT_TRUE(outcome.Ok()) << outcome.what;
        EXPECT_TRUE(outcome.warnings.empty());
        ASSERT_EQ(bitmap.BitsPerPixel(), kind.depth);
        double worst = 0;
        for (uint32_t y = 0; y < kHeight; ++y) {
          for (uint32_t x = 0; x < kWidth; ++x) {
            const Color color = ColorAt(bitmap, static_cast<int>(x), static_cast<int>(y));
            for (int c = 0; c < 3; ++c) {
              const double off = Shown(kind, x, y, c) - color[static_cast<size_t>(c)];
              worst = std::max(worst, std::abs(off));
            }
          }
        }
        EXPECT_LT(worst, kind.bits == 16 && !kind.extras.empty() ? 1.6 : 0.51);
      }
    }
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
      WritePage(folder / "whole.tif", c.kind, tiled, false, c.compression);
      TIFF* tiff = TIFFOpen((folder / "whole.tif").c_str(), "r");
      Bytes data(static_cast<size_t>(TIFFRawStripSize(tiff, 1)));
      (tiled ? TIFFReadRawTile : TIFFReadRawStrip)(tiff, 1, data.data(),
                                                   static_cast<tmsize_t>(data.size()));
      TIFFClose(tiff);
      for (size_t left = data.size() * 3 / 4; left > 0; left /= 2) {
        SCOPED_TRACE(testing::Message() << c.name << (tiled ? " tile" : " strip") << " cut from "
                                        << data.size() << " to " << left);
        WritePage(folder / "cut.tif", c.kind, tiled, false, c.compression);
        tiff = TIFFOpen((folder / "cut.tif").c_str(), "r+");
        (tiled ? TIFFWriteRawTile : TIFFWriteRawStrip)(tiff, 1, data.data(),
                                                       static_cast<tmsize_t>(left));
        TIFFRewriteDirectory(tiff);
        TIFFClose(tiff);
        PictureReader reader;
        ASSERT_TRUE(reader.Open(folder / "cut.tif").Ok());
        Bitmap bitmap;
        const Outcome outcome = reader.Read(1, bitmap);
        EXPECT_TRUE(!outcome.Ok() || !outcome.warnings.empty());
        EXPECT_EQ(outcome.Ok(), outcome.what.empty());
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
    Bytes file = {'I', 'I', 42, 0};
    file.resize(kHeader + kData, 0xFF);  // as Group 4: white row after white row
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
  WritePage(folder / "a.tif", {"", PHOTOMETRIC_RGB, 16, {}, 24}, false, false);
  PictureReader reader;
  ASSERT_TRUE(reader.Open(folder / "a.tif").Ok());
  Bitmap bitmap;
  for (int i = 0; i < 50; ++i) EXPECT_TRUE(reader.Read(1, bitmap).Ok()) << i;
}

TEST(TiffReader, TilesOutOfProportionAreRefused) {
  const TemporaryFolder folder;
  TIFF* tiff = TIFFOpen((folder / "a.tif").c_str(), "w");
  SetTags(tiff, {"", PHOTOMETRIC_MINISBLACK, 8, {}, 8}, true, false, COMPRESSION_ADOBE_DEFLATE);
  TIFFSetField(tiff, TIFFTAG_TILEWIDTH, 1 << 14);
  TIFFSetField(tiff, TIFFTAG_TILELENGTH, 1 << 14);
  Bytes tile(size_t{1} << 28);
  TIFFWriteTile(tiff, tile.data(), 0, 0, 0, 0);
  TIFFClose(tiff);
  PictureReader reader;
  ASSERT_TRUE(reader.Open(folder / "a.tif").Ok());
  Bitmap bitmap;
  EXPECT_THAT(reader.Read(1, bitmap).what, HasSubstr("out of all proportion"));
}

}  // namespace

}  // namespace kz::test
