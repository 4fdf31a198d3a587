// Bitmaps: row sizes, rows, palettes and the view perspective.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "Host/Kernel/Kernel.h"
#include "Host/Kernel/KernelTesting.h"

namespace {

constexpr uint32_t kSize = sizeof(_BITMAPHANDLE);
constexpr unsigned char kPalette[8] = {1, 2, 3, 0, 4, 5, 6, 0};

TEST(Bitmap, RowsAreWholeWordsOfAKnownDepth) {
  const int cases[][3] = {
      // clang-format off
      {1, 1, 4}, {32, 1, 4}, {33, 1, 8}, {1728, 1, 216}, {9, 4, 8}, {4, 8, 4}, {333, 24, 1000},
      {0, 1, -1}, {-8, 8, -1}, {8, 2, -1}, {8, 16, -1}, {8, 0, -1}, {8, 32, -1},
      {INT32_MAX, 1, 268435456}, {INT32_MAX, 8, -1}, {INT32_MAX, 24, -1},
      // clang-format on
  };
  for (const auto& [width, depth, bytes] : cases) {
    EXPECT_EQ(K_BitmapBytesPerLine(width, depth), bytes) << width << " x " << depth;
  }
}

TEST(Bitmap, CreationRefusesWhatItCanNotHave) {
  const size_t before = K_LiveBlocks();
  const int cases[][5] = {
      // clang-format off
      // bytes missing, width, depth, failing allocation, status
      {0, 8, 1, 0, K_SUCCESS}, {0, 8, 2, 0, K_ERROR_BITS_PER_PIXEL},
      {0, 0, 1, 0, K_ERROR_INVALID_FORMAT}, {8, 8, 1, 0, K_ERROR_INVALID_FORMAT},
      {0, 8, 1, 1, K_ERROR_NO_MEMORY},
      // clang-format on
  };
  for (const auto& [missing, width, depth, failing, status] : cases) {
    _BITMAPHANDLE bitmap;
    std::memset(&bitmap, 0xAA, sizeof bitmap);
    K_FailAllocation(failing);
    const uint32_t size = kSize - static_cast<uint32_t>(missing);
    EXPECT_EQ(K_CreateBitmap(&bitmap, size, width, 1, depth, 1, 4), status);
    K_FailAllocation(0);
    EXPECT_EQ(bitmap.pRows != nullptr, status == K_SUCCESS);
    K_FreeBitmap(&bitmap);
    EXPECT_EQ(bitmap.uFlags & K_BITMAP_ALLOCATED, 0u);
    EXPECT_EQ(K_IntAccessBitmap(&bitmap, 0), K_ERROR_NO_MEMORY);
  }
  EXPECT_EQ(K_LiveBlocks(), before);
  _BITMAPHANDLE bitmap;
  EXPECT_EQ(K_CreateBitmap(&bitmap, kSize, 8, -1, 1, 1, 4), K_ERROR_INVALID_FORMAT);
}

// Rows 0, 1, 2 ... hold the letters 'a', 'b', 'c' ...
_BITMAPHANDLE Lettered(int height, int perspective) {
  _BITMAPHANDLE bitmap;
  EXPECT_EQ(K_CreateBitmap(&bitmap, kSize, 12, height, 8, K_ORDER_BGR, perspective), K_SUCCESS);
  for (int row = 0; row < height; ++row) {
    unsigned char bytes[12];
    std::memset(bytes, 'a' + row, 12);
    EXPECT_EQ(K_PutBitmapRow(&bitmap, bytes, row, 12), 12);
  }
  EXPECT_EQ(K_SetBitmapNewPalette(&bitmap, kPalette, 2), K_SUCCESS);
  bitmap.nXResolution = 200;
  bitmap.nYResolution = 100;
  return bitmap;
}
std::string Letters(_BITMAPHANDLE* bitmap) {
  std::string letters;
  for (int row = 0; row < bitmap->nHeight; ++row) {
    char bytes[12] = {};
    EXPECT_EQ(K_GetBitmapRow(bitmap, reinterpret_cast<unsigned char*>(bytes), row, 12), 12);
    EXPECT_EQ(std::string(bytes, 12), std::string(12, bytes[0]));
    letters.push_back(bytes[0]);
  }
  return letters;
}

TEST(Bitmap, RowsAreCopiedWithinTheBitmapOnly) {
  _BITMAPHANDLE bitmap = Lettered(3, K_VIEW_TOP_DOWN);
  unsigned char row[400] = {};
  EXPECT_EQ(K_GetBitmapRow(&bitmap, row, 1, 400), 12) << "one row at most";
  EXPECT_EQ(std::string(row, row + 13), std::string(12, 'b') + '\0');
  EXPECT_EQ(K_GetBitmapRow(&bitmap, row, 2, 1), 1);
  for (const int outside : {-1, 3, INT32_MAX}) {
    EXPECT_EQ(K_GetBitmapRow(&bitmap, row, outside, 12), K_ERROR_INVALID_FORMAT);
    EXPECT_EQ(K_PutBitmapRow(&bitmap, row, outside, 12), K_ERROR_INVALID_FORMAT);
  }
  // A load of uncompressed rows says here how long the file's rows are; what the
  // kernel has allocated does not grow with it.
  bitmap.nBytesPerLine = 400;
  EXPECT_EQ(K_PutBitmapRow(&bitmap, row, 2, 400), 12);
  EXPECT_EQ(K_GetBitmapRow(&bitmap, row, 0, 400), 12);
  _BITMAPHANDLE copy;
  EXPECT_EQ(K_ChangeBitmapViewPerspective(&copy, &bitmap, kSize, K_VIEW_BOTTOM_UP), K_SUCCESS);
  EXPECT_EQ(K_ChangeBitmapViewPerspective(nullptr, &bitmap, kSize, K_VIEW_BOTTOM_UP), K_SUCCESS);
  K_FreeBitmap(&copy);
  K_FreeBitmap(&bitmap);
}

TEST(Bitmap, GreyPalettesRunFromBlackToWhite) {
  _BITMAPHANDLE bitmap = Lettered(1, K_VIEW_TOP_DOWN);
  K_FailAllocation(1);
  EXPECT_EQ(K_CreateBitmapGrayPalette(&bitmap), K_ERROR_NO_MEMORY);
  EXPECT_EQ(std::memcmp(bitmap.pPalette, kPalette, 8), 0) << "the old palette stays";
  for (const auto& [colors, step] : {std::pair{2, 255}, {16, 17}, {256, 1}}) {
    bitmap.nColors = colors;
    EXPECT_EQ(K_CreateBitmapGrayPalette(&bitmap), K_SUCCESS);
    for (int i = 0; i < colors * 4; ++i) {
      EXPECT_EQ(bitmap.pPalette[i], i % 4 == 3 ? 0 : i / 4 * step);
    }
  }
  K_FreeBitmap(&bitmap);
}

TEST(Bitmap, ThePerspectiveChangesInPlaceOrInACopy) {
  const size_t before = K_LiveBlocks();
  struct Case {
    int height, from, to, status;
    const char* letters;
  };
  const Case cases[] = {
      {4, 1, 4, 1, "dcba"}, {5, 4, 1, 1, "edcba"}, {1, 1, 4, 1, "a"},
      {3, 1, 1, 1, "abc"},  {3, 1, 2, -9, "abc"},  {3, 4, 0, -9, "abc"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.height << " rows from " << c.from << " to " << c.to);
    _BITMAPHANDLE bitmap = Lettered(c.height, c.from);
    const std::string stored = Letters(&bitmap);
    _BITMAPHANDLE copy = {};
    for (const int failing : {1, 2}) {
      if (c.status != K_SUCCESS) break;
      K_FailAllocation(failing);
      EXPECT_EQ(K_ChangeBitmapViewPerspective(&copy, &bitmap, kSize, c.to), K_ERROR_NO_MEMORY);
      EXPECT_EQ(copy.pRows, nullptr);
    }
    EXPECT_EQ(K_ChangeBitmapViewPerspective(&copy, &bitmap, kSize, c.to), c.status);
    EXPECT_EQ(Letters(&bitmap), stored);
    EXPECT_EQ(bitmap.nViewPerspective, c.from);
    if (c.status == K_SUCCESS) {
      EXPECT_EQ(Letters(&copy), c.letters);
      EXPECT_EQ(copy.nViewPerspective, c.to);
      EXPECT_EQ(copy.nXResolution, 200);
      EXPECT_EQ(copy.nYResolution, 100);
      EXPECT_TRUE(copy.nColors == 2 && std::memcmp(copy.pPalette, kPalette, 8) == 0);
    }
    K_FreeBitmap(&copy);
    EXPECT_EQ(K_ChangeBitmapViewPerspective(nullptr, &bitmap, kSize, c.to), c.status);
    EXPECT_EQ(Letters(&bitmap), c.letters);
    EXPECT_EQ(bitmap.nViewPerspective, c.status == K_SUCCESS ? c.to : c.from);
    K_FreeBitmap(&bitmap);
  }
  EXPECT_EQ(K_LiveBlocks(), before);
}

}  // namespace
