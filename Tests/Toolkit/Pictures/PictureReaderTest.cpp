// Picture files of other programs, whole and damaged.
#include <gtest/gtest.h>
#include <png.h>

#include <cstdio>

#include "Tests/Support/TestPictures.h"
#include "Toolkit/Pictures/PictureFile.h"

namespace kz::test {

namespace {

Outcome Read(const std::string& path, Bitmap& bitmap, int page = 1) {
  PictureReader reader;
  Outcome outcome = reader.Open(path);
  return outcome.Ok() ? reader.Read(page, bitmap) : outcome;
}

void WritePage(const std::string& path, const Bitmap& page) {
  PictureWriter writer;
  EXPECT_TRUE(writer.Open(path).Ok() && writer.AddPage(page).Ok() && writer.Commit().Ok());
}

// A row of three pixels, twice, as a PNG of any kind.
struct PngKind {
  int type, bits;
  const char* row;
  const char* transparent;  // the colour that is, or the alpha of the palette's entries
  int depth;                // of the picture
  std::array<int, 3> shown;
};

Bytes FromHex(std::string_view digits) {
  Bytes bytes;
  for (size_t i = 0; i < digits.size(); i += 2) {
    bytes.push_back(static_cast<unsigned char>(std::stoi(std::string(digits, i, 2), nullptr, 16)));
  }
  return bytes;
}

void WritePng(const std::string& path, const PngKind& kind, int interlace) {
  FILE* file = std::fopen(path.c_str(), "wb");
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_init_io(png, file);
  png_set_IHDR(png, info, 3, 2, kind.bits, kind.type, interlace, PNG_COMPRESSION_TYPE_DEFAULT,
               PNG_FILTER_TYPE_DEFAULT);
  const png_color colors[] = {{200, 100, 0}, {200, 100, 0}, {10, 20, 30}};
  const Bytes t = FromHex(kind.transparent), row = FromHex(kind.row);
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
    for (int y = 0; y < 2; ++y) png_write_row(png, row.data());
  }
  png_write_end(png, info);
  png_destroy_write_struct(&png, &info);
  std::fclose(file);
}

TEST(PictureReader, TransparentPartsOfAPngShowPaper) {
  constexpr int kPaper = 0xFFFFFF, kGrey = PNG_COLOR_TYPE_GRAY,
                kGreyAlpha = PNG_COLOR_TYPE_GRAY_ALPHA, kRgb = PNG_COLOR_TYPE_RGB,
                kRgbAlpha = PNG_COLOR_TYPE_RGB_ALPHA, kMapped = PNG_COLOR_TYPE_PALETTE;
  const PngKind kinds[] = {
      {kGreyAlpha, 8, "09FF65800700", "", 8, {0x090909, 0xB2B2B2, kPaper}},
      {kGreyAlpha, 16, "0909FFFF6565808007070000", "", 8, {0x090909, 0xB2B2B2, kPaper}},
      {kRgbAlpha, 8, "C86400FFC864008001020300", "", 24, {0xC86400, 0xE3B17F, kPaper}},
      {kGrey, 1, "40", "01", 8, {0, kPaper, 0}},
      {kGrey, 4, "0F30", "03", 8, {0, 0xFFFFFF, kPaper}},
      {kGrey, 8, "000102", "01", 8, {0, kPaper, 0x020202}},
      {kRgb, 8, "010203040506010204", "010203", 24, {kPaper, 0x040506, 0x010204}},
      {kMapped, 8, "000102", "FF8000", 24, {0xC86400, 0xE3B17F, kPaper}},
      {kMapped, 2, "18", "00", 24, {kPaper, 0xC86400, 0x0A141E}},
  };
  const TemporaryFolder folder;
  for (const PngKind& kind : kinds) {
    for (const int interlace : {PNG_INTERLACE_NONE, PNG_INTERLACE_ADAM7}) {
      SCOPED_TRACE(testing::Message() << kind.type << " " << kind.bits << " " << interlace);
      WritePng(folder / "a.png", kind, interlace);
      Bitmap bitmap;
      const Outcome outcome = Read(folder / "a.png", bitmap);
      ASSERT_TRUE(outcome.Ok()) << outcome.what;
      EXPECT_EQ(bitmap.BitsPerPixel(), kind.depth);
      EXPECT_EQ(bitmap.XResolution(), 300);
      EXPECT_EQ(bitmap.YResolution(), 100);
      for (int x = 0; x < 3; ++x) {
        const int color = kind.shown[static_cast<size_t>(x)];
        const Color shown = {color >> 16, color >> 8 & 255, color & 255};
        EXPECT_EQ(ColorAt(bitmap, x, 0), shown) << x;
        EXPECT_EQ(ColorAt(bitmap, x, 1), shown) << x;
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
  WritePage(folder / "a.jpg", page);
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

// Every ending, cut anywhere: a failure with words, and nothing on standard error.
TEST(PictureReader, CutFilesFailQuietly) {
  const TemporaryFolder folder;
  for (const char* ending : {"png", "tif", "ppm", "jpg"}) {
    const std::string path = folder / (std::string("page.") + ending);
    WritePage(path, RandomBitmap(60, 60, 8, Colors::kColored));
    const Bytes good = FileBytes(path);
    testing::internal::CaptureStderr();
    for (size_t i = 0; i < 60; ++i) {
      folder.File(path, Bytes(good.data(), good.data() + good.size() * i / 61));
      Bitmap bitmap;
      EXPECT_FALSE(Read(path, bitmap).what.empty()) << ending << i;
      EXPECT_TRUE(bitmap.Empty());
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << ending;
  }
}

}  // namespace

}  // namespace kz::test
