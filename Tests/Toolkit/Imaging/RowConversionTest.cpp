#include "Toolkit/Imaging/RowConversion.h"

#include <gtest/gtest.h>

#include <cmath>

#include "Host/Kernel/Kernel.h"
#include "Tests/Support/TestPictures.h"

namespace kz::test {

namespace {

constexpr int kDepths[] = {1, 4, 8, 24};

// The row routines as a filter calls them.
struct Conversion {
  Conversion(Bitmap& from, int bits, uint32_t hostFlags = 0) : bitmap(from), flags(hostFlags) {
    status = BeginRows(bitmap.Handle(), &context, bits, &flags, &row, 1, nullptr, nullptr, &colors);
  }
  ~Conversion() { EndRows(bitmap.Handle(), &context, &flags, &row, &colors); }
  int Get(int i) {
    return GetRow(bitmap.Handle(), context, row, i, 1, flags, nullptr, nullptr, colors);
  }
  Bytes Copy(int i, size_t bytes) {
    return Get(i) == K_SUCCESS ? Bytes(row, row + bytes) : Bytes();
  }

  Bitmap& bitmap;
  uint32_t flags;
  void* context = nullptr;
  unsigned char* row = nullptr;
  unsigned char* colors = nullptr;
  int status;
};

// Checks one converted pixel against what the source shows there.
void ExpectPixel(const Color& source, const Color& converted, int bits, bool kept) {
  if (bits == 24 || kept) {
    EXPECT_EQ(converted, source);
    return;
  }
  EXPECT_EQ(converted[0], converted[1]);
  EXPECT_EQ(converted[1], converted[2]);
  const double luminance = 0.299 * source[0] + 0.587 * source[1] + 0.114 * source[2];
  if (bits == 1) {
    if (std::abs(luminance - 127.5) > 1) {
      EXPECT_EQ(converted[0], luminance > 127.5 ? 255 : 0);
    }
  } else {
    EXPECT_NEAR(converted[0], luminance, bits == 4 ? 9.6 : 1.0);
  }
}

TEST(RowConversion, EveryDepthShowsTheSamePicture) {
  for (const int from : kDepths) {
    for (const Colors colors : {Colors::kNone, Colors::kColored}) {
      // Two random colours would become the same bit: the bits say which is which.
      if (colors == Colors::kColored && (from == 1 || from == 24)) continue;
      for (const int to : kDepths) {
        for (const int perspective : {K_VIEW_TOP_DOWN, K_VIEW_BOTTOM_UP}) {
          for (const int width : {1, 2, 3, 7, 8, 9, 31, 33, 64}) {
            SCOPED_TRACE(testing::Message()
                         << from << " to " << to << " bits, palette " << (colors != Colors::kNone)
                         << ", perspective " << perspective << ", width " << width);
            const int order = width % 2 == 0 ? K_ORDER_RGB : K_ORDER_BGR;
            const Bitmap source = RandomBitmap(width, 3, from, colors, perspective, order);
            Bitmap out;
            ASSERT_TRUE(ConvertBitmap(source, to, false, out).Ok());
            ASSERT_EQ(out.BitsPerPixel(), to);
            EXPECT_EQ(out.XResolution(), 200);
            EXPECT_EQ(out.YResolution(), 100);
            for (int y = 0; y < 3; ++y) {
              for (int x = 0; x < width; ++x) {
                const bool kept = from <= to && colors == Colors::kNone;
                ExpectPixel(ColorAt(source, x, y), ColorAt(out, x, y), to, kept);
              }
            }
          }
        }
      }
    }
  }
}

TEST(RowConversion, OneBitRowsGoOutAsStoredAndTheTableSaysWhichIsWhite) {
  const struct {
    Bytes palette;
    int blueOfZero;
  } cases[] = {
      {{}, 0xFF},
      {{255, 255, 255, 0, 0, 0, 0, 0}, 0xFF},
      {{0, 0, 0, 0, 255, 255, 255, 0}, 0},
      {{0, 0, 0, 0, 128, 128, 128, 0}, 0},
      {{255, 255, 0, 0, 0, 0, 255, 0}, 0xFF},  // yellow, whose blue is 0, on blue
  };
  for (const auto& c : cases) {
    for (const int perspective : {K_VIEW_TOP_DOWN, K_VIEW_BOTTOM_UP}) {
      Bitmap bitmap = RandomBitmap(13, 4, 1, Colors::kNone, perspective);
      if (!c.palette.empty()) {
        ASSERT_EQ(bitmap.SetPalette(c.palette.data(), 2), 1);
      }
      Conversion rows(bitmap, 1);
      ASSERT_EQ(rows.status, K_SUCCESS);
      EXPECT_EQ(rows.colors[10], c.blueOfZero);
      for (int y = 0; y < 4; ++y) {
        const unsigned char* stored = bitmap.TopDownRow(y);
        const auto last = static_cast<unsigned char>(stored[1] & 0xF8);
        EXPECT_EQ(rows.Copy(y, 4), (Bytes{stored[0], last, 0, 0}));
      }
    }
  }
}

TEST(RowConversion, RefusesWhatItCannotDo) {
  Bitmap bitmap = RandomBitmap(5, 2, 8), empty;
  EXPECT_EQ(Conversion(bitmap, 2).status, K_ERROR_BITS_PER_PIXEL);
  EXPECT_EQ(Conversion(empty, 8).status, K_ERROR_NO_MEMORY);
  Conversion rows(bitmap, 8);
  EXPECT_EQ(rows.Get(-1), K_ERROR_INVALID_FORMAT);
  EXPECT_EQ(rows.Get(2), K_ERROR_INVALID_FORMAT);
}

// The textbook's error diffusion, in fractions.
TEST(RowConversion, DitheringSpreadsTheErrorAsFloydAndSteinbergDid) {
  constexpr int kWidth = 39, kHeight = 6;  // rounding adds up further down
  const Bitmap source = RandomBitmap(kWidth, kHeight, 8);
  Bitmap out;
  ASSERT_TRUE(ConvertBitmap(source, 1, true, out).Ok());
  double wanted[kHeight + 1][kWidth + 2] = {};
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      double& value = wanted[y][x + 1];
      value += ColorAt(source, x, y)[0];
      const int shown = value < 128 ? 0 : 255;
      EXPECT_EQ(ColorAt(out, x, y)[0], shown) << x << " " << y << " " << value;
      const double error = value - shown;
      wanted[y][x + 2] += error * 7 / 16;
      wanted[y + 1][x] += error * 3 / 16;
      wanted[y + 1][x + 1] += error * 5 / 16;
      wanted[y + 1][x + 2] += error / 16;
    }
  }
}

TEST(RowConversion, DitheredRowsDoNotDependOnTheOrderOfAsking) {
  Bitmap bitmap = SmoothBitmap(50, 20, 24);
  std::vector<Bytes> inOrder;
  Conversion rows(bitmap, 1, K_HOST_DITHER);
  for (int y = 0; y < 20; ++y) inOrder.push_back(rows.Copy(y, 8));
  for (const int y : {19, 19, 3, 4, 4, 10, 0, 0, 1, 19, 18}) {
    EXPECT_EQ(rows.Copy(y, 8), inOrder[static_cast<size_t>(y)]) << y;
  }
  Bitmap cut;
  ASSERT_TRUE(ConvertBitmap(bitmap, 1, false, cut).Ok());
  EXPECT_NE(inOrder[10], Bytes(cut.TopDownRow(10), cut.TopDownRow(10) + 8));
}

}  // namespace

}  // namespace kz::test
