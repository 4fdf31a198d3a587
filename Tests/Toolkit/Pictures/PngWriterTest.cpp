// png files as libpng reads them.
#include <gtest/gtest.h>
#include <libdeflate.h>
#include <png.h>

#include <cmath>
#include <cstring>
#include <set>

#include "Tests/Support/TestPictures.h"
#include "Toolkit/Imaging/RowConversion.h"
#include "Toolkit/Pictures/PictureFile.h"

namespace kz::test {

namespace {

Outcome WritePng(const std::string& path, const Bitmap& bitmap) {
  PictureWriter writer;
  Outcome outcome = writer.Open(path);
  if (outcome.Ok()) outcome = writer.AddPage(bitmap);
  return outcome.Ok() ? writer.Commit() : outcome;
}

// A file that libpng has read, without any conversion. A damaged one ends the test program.
class PngFile {
 public:
  explicit PngFile(const std::string& path) : m_file(std::fopen(path.c_str(), "rb")) {
    m_png = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, nullptr, Warn);
    m_info = png_create_info_struct(m_png);
    png_init_io(m_png, m_file);
    png_set_crc_action(m_png, PNG_CRC_ERROR_QUIT, PNG_CRC_ERROR_QUIT);
    png_read_png(m_png, m_info, PNG_TRANSFORM_IDENTITY, nullptr);
  }
  ~PngFile() {
    png_destroy_read_struct(&m_png, &m_info, nullptr);
    (void)std::fclose(m_file);
  }
  PngFile(const PngFile&) = delete;
  PngFile& operator=(const PngFile&) = delete;
  int Width() const { return static_cast<int>(png_get_image_width(m_png, m_info)); }
  int Height() const { return static_cast<int>(png_get_image_height(m_png, m_info)); }
  int Depth() const { return png_get_bit_depth(m_png, m_info); }
  int Type() const { return png_get_color_type(m_png, m_info); }
  int XPerMetre() const { return static_cast<int>(png_get_x_pixels_per_meter(m_png, m_info)); }
  int YPerMetre() const { return static_cast<int>(png_get_y_pixels_per_meter(m_png, m_info)); }
  int Warnings() const { return m_warnings; }
  const unsigned char* Row(int y) const { return png_get_rows(m_png, m_info)[y]; }
  Color At(int x, int y) const {
    const unsigned char* row = Row(y);
    if (Type() == PNG_COLOR_TYPE_RGB) return {row[3 * x], row[3 * x + 1], row[3 * x + 2]};
    const int first = x * Depth();
    const int most = (1 << Depth()) - 1;
    const int value = row[first / 8] >> (8 - Depth() - first % 8) & most;
    if (Type() == PNG_COLOR_TYPE_GRAY) {
      return {value * 255 / most, value * 255 / most, value * 255 / most};
    }
    png_colorp colors = nullptr;
    int count = 0;
    png_get_PLTE(m_png, m_info, &colors, &count);
    if (value >= count) return {-1, -1, -1};
    return {colors[value].red, colors[value].green, colors[value].blue};
  }

 private:
  static void Warn(png_structp png, png_const_charp) {
    ++static_cast<PngFile*>(png_get_error_ptr(png))->m_warnings;
  }
  std::FILE* m_file;
  png_structp m_png;
  png_infop m_info;
  int m_warnings = 0;
};

// The filters of the rows, from the file's only IDAT.
std::set<int> FiltersOf(const std::string& path, const PngFile& png) {
  const Bytes bytes = FileBytes(path);
  const char name[] = "IDAT";
  const auto at = std::search(bytes.begin(), bytes.end(), name, name + 4);
  const auto number = [](Bytes::const_iterator from) {
    return size_t{from[0]} << 24 | size_t{from[1]} << 16 | size_t{from[2]} << 8 | from[3];
  };
  const int samples = png.Type() == PNG_COLOR_TYPE_RGB ? 3 : 1;
  const auto bits = static_cast<size_t>(png.Width() * png.Depth() * samples);
  Bytes rows(((bits + 7) / 8 + 1) * static_cast<size_t>(png.Height()));
  libdeflate_decompressor* decompressor = libdeflate_alloc_decompressor();
  EXPECT_EQ(libdeflate_zlib_decompress(decompressor, &*at + 4, number(at - 4), rows.data(),
                                       rows.size(), nullptr),
            LIBDEFLATE_SUCCESS);
  libdeflate_free_decompressor(decompressor);
  std::set<int> filters;
  for (size_t i = 0; i < rows.size(); i += (bits + 7) / 8 + 1) filters.insert(rows[i]);
  return filters;
}

// Parts that each of the filters suits best.
Bitmap MixedBitmap(int width, int height, int bits) {
  Bitmap bitmap = RandomBitmap(width, height, bits);
  std::mt19937 random(1);
  const int bytes = bits / 8;
  for (int y = 0; y < height; ++y) {
    unsigned char* row = bitmap.TopDownRow(y);
    const unsigned char* above = y > 0 ? bitmap.TopDownRow(y - 1) : row;
    for (int i = 0; i < width * bytes; ++i) {
      const int left = i < bytes ? 0 : row[i - bytes];
      const int noise = static_cast<int>(random() % 3) - 1;
      const int corner = i < bytes ? 0 : above[i - bytes];
      int value = row[i];                                                // filter 0 or any
      if (y % 60 >= 10) value = left + static_cast<int>(random() % 40);  // 1
      if (y % 60 >= 20) value = above[i] + noise;                        // 2
      if (y % 60 >= 30) value = (left + above[i]) / 2 + noise;           // 3
      if (y % 60 >= 40) value = left + above[i] - corner + noise;        // 4
      if (y % 60 >= 50) value = random() % 50 == 0 ? 3 : 0;              // 0
      row[i] = static_cast<unsigned char>(value);
    }
  }
  return bitmap;
}

struct Kind {
  int bits;
  Colors colors;
  int type;
};
constexpr Kind kKinds[] = {
    {1, Colors::kNone, PNG_COLOR_TYPE_GRAY},       {1, Colors::kBlackWhite, PNG_COLOR_TYPE_GRAY},
    {1, Colors::kColored, PNG_COLOR_TYPE_PALETTE}, {4, Colors::kNone, PNG_COLOR_TYPE_GRAY},
    {4, Colors::kColored, PNG_COLOR_TYPE_PALETTE}, {8, Colors::kNone, PNG_COLOR_TYPE_GRAY},
    {8, Colors::kColored, PNG_COLOR_TYPE_PALETTE}, {24, Colors::kNone, PNG_COLOR_TYPE_RGB},
};

void ExpectSame(const std::string& path, const Bitmap& bitmap) {
  const PngFile png(path);
  EXPECT_EQ(png.Warnings(), 0);
  ASSERT_EQ(png.Width(), bitmap.Width());
  ASSERT_EQ(png.Height(), bitmap.Height());
  ASSERT_EQ(png.Depth(), std::min(bitmap.BitsPerPixel(), 8));
  for (int y = 0; y < bitmap.Height(); ++y) {
    for (int x = 0; x < bitmap.Width(); ++x) {
      ASSERT_EQ(png.At(x, y), ColorAt(bitmap, x, y)) << x << " " << y;
    }
  }
}

TEST(PngWriter, LibpngReadsEveryDepthAndSize) {
  const TemporaryFolder folder;
  const std::string path = folder / "a.png";
  for (const Kind& kind : kKinds) {
    for (const int width : {1, 2, 3, 7, 8, 9, 31, 70, 611}) {
      for (const int height : {1, 2, 40}) {
        SCOPED_TRACE(testing::Message() << kind.bits << " bits, type " << kind.type << ", " << width
                                        << " x " << height);
        const bool even = width % 2 == 0;
        const Bitmap bitmap = RandomBitmap(width, height, kind.bits, kind.colors,
                                           even ? K_VIEW_BOTTOM_UP : K_VIEW_TOP_DOWN,
                                           even ? K_ORDER_BGR : K_ORDER_RGB);
        ASSERT_TRUE(WritePng(path, bitmap).Ok());
        ExpectSame(path, bitmap);
        EXPECT_EQ(PngFile(path).Type(), kind.type);
      }
    }
  }
}

TEST(PngWriter, EveryFilterIsTakenWhereItServes) {
  const TemporaryFolder folder;
  const std::string path = folder / "a.png";
  for (const int bits : {8, 24}) {
    const Bitmap bitmap = MixedBitmap(203, 180, bits);
    ASSERT_TRUE(WritePng(path, bitmap).Ok());
    ExpectSame(path, bitmap);
    EXPECT_EQ(FiltersOf(path, PngFile(path)), (std::set<int>{0, 1, 2, 3, 4}));
    // Noise gains nothing.
    ASSERT_TRUE(WritePng(path, RandomBitmap(203, 180, bits)).Ok());
    EXPECT_EQ(FiltersOf(path, PngFile(path)), std::set<int>{0});
  }
  ASSERT_TRUE(WritePng(path, RandomBitmap(203, 180, 8, Colors::kColored)).Ok());
  EXPECT_EQ(FiltersOf(path, PngFile(path)), std::set<int>{0});
}

TEST(PngWriter, ResolutionIsPerMetre) {
  const TemporaryFolder folder;
  Bitmap bitmap = RandomBitmap(9, 9, 1);
  const struct {
    int x, y, xPerMetre, yPerMetre;
  } cases[] = {{200, 100, 7874, 3937}, {300, 300, 11811, 11811}, {0, 100, 0, 0}, {0, 0, 0, 0}};
  for (const auto& one : cases) {
    bitmap.SetResolution(one.x, one.y);
    ASSERT_TRUE(WritePng(folder / "a.png", bitmap).Ok());
    const PngFile png(folder / "a.png");
    EXPECT_EQ(png.XPerMetre(), one.xPerMetre);
    EXPECT_EQ(png.YPerMetre(), one.yPerMetre);
  }
}

TEST(PngWriter, ValuesWithoutAColourAreBlack) {
  const TemporaryFolder folder;
  Bitmap bitmap = RandomBitmap(20, 20, 4);
  const unsigned char red[4] = {255, 0, 0, 0};
  ASSERT_EQ(bitmap.SetPalette(red, 1), K_SUCCESS);
  ASSERT_TRUE(WritePng(folder / "a.png", bitmap).Ok());
  const PngFile png(folder / "a.png");
  for (int x = 0; x < 20; ++x) {
    const int value = bitmap.TopDownRow(0)[x / 2] >> (x % 2 == 0 ? 4 : 0) & 15;
    EXPECT_EQ(png.At(x, 0), (value == 0 ? Color{255, 0, 0} : Color{0, 0, 0}));
  }
}

TEST(PngWriter, PicturesTooLargeForOnePieceAreTheSame) {
  const TemporaryFolder folder;
  const struct {
    int width, height, bits;
  } cases[] = {{6001, 6000, 8}, {3001, 4000, 24}, {20001, 14000, 1}};
  for (const auto& one : cases) {
    SCOPED_TRACE(one.bits);
    Bitmap bitmap;
    ASSERT_EQ(bitmap.Create(one.width, one.height, one.bits, K_ORDER_RGB), K_SUCCESS);
    const int used = (one.width * one.bits + 7) / 8;
    for (int y = 0; y < one.height; ++y) {
      unsigned char* row = bitmap.TopDownRow(y);
      for (int i = 0; i < used; i += 61) row[i] = static_cast<unsigned char>(i / 61 + y / 7);
    }
    ASSERT_TRUE(WritePng(folder / "a.png", bitmap).Ok());
    const PngFile png(folder / "a.png");
    ASSERT_EQ(png.Warnings(), 0);
    ASSERT_EQ(png.Height(), one.height);
    for (int y = 0; y < one.height; ++y) {
      Bytes row(bitmap.TopDownRow(y), bitmap.TopDownRow(y) + used);
      if (one.bits == 1) InvertBits(row.data(), one.width);
      // What is past the width isn't the picture's.
      ASSERT_EQ(std::memcmp(png.Row(y), row.data(), row.size() - 1), 0) << y;
    }
  }
}

TEST(PngWriter, ASideThatReadersRefuseIsRefused) {
  const TemporaryFolder folder;
  Bitmap bitmap;
  ASSERT_EQ(bitmap.Create(1000001, 1, 1), K_SUCCESS);
  EXPECT_EQ(WritePng(folder / "a.png", bitmap).status, K_ERROR_INVALID_FORMAT);
  EXPECT_TRUE(folder.Names().empty());
}

}  // namespace

}  // namespace kz::test
