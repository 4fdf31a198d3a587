// Pictures and their pixels for the toolkit's tests.
#pragma once

#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "Tests/Support/TemporaryFolder.h"
#include "Toolkit/Base/Bitmap.h"

namespace kz::test {

using Color = std::array<int, 3>;  // red, green, blue

inline Bytes AsBytes(std::string_view text) { return Bytes(text.begin(), text.end()); }

// What a person sees at a place, worked out pixel by pixel.
inline Color ColorAt(const Bitmap& bitmap, int x, int y) {
  const _BITMAPHANDLE& record = *bitmap.Handle();
  const int stored = record.nViewPerspective == K_VIEW_BOTTOM_UP ? record.nHeight - 1 - y : y;
  const unsigned char* row = record.pRows + static_cast<ptrdiff_t>(stored) * record.nRowBytes;
  const int bits = record.nBitsPerPixel;
  if (bits == 24) {
    const unsigned char* pixel = row + 3 * x;
    if (record.nColorOrder == K_ORDER_RGB) return {pixel[0], pixel[1], pixel[2]};
    return {pixel[2], pixel[1], pixel[0]};
  }
  const int first = x * bits;
  const int value = row[first / 8] >> (8 - bits - first % 8) & ((1 << bits) - 1);
  if (record.pPalette != nullptr) {
    const unsigned char* entry = record.pPalette + 4 * value;
    return {entry[0], entry[1], entry[2]};
  }
  const int gray = bits == 1 ? 255 * (1 - value) : value * 255 / ((1 << bits) - 1);
  return {gray, gray, gray};
}

enum class Colors { kNone, kColored, kBlackWhite };

// Random pixels; bits past the width are set, as nobody promises otherwise.
inline Bitmap RandomBitmap(int width, int height, int bits, Colors colors = Colors::kNone,
                           int perspective = K_VIEW_TOP_DOWN, int order = K_ORDER_BGR) {
  Bitmap bitmap;
  if (bitmap.Create(width, height, bits, order, perspective) != K_SUCCESS) return bitmap;
  std::mt19937 random(static_cast<unsigned>(width * 1000 + height * 10 + bits));
  for (int y = 0; y < height; ++y) {
    for (int i = 0; i < bitmap.BytesPerLine(); ++i) {
      bitmap.TopDownRow(y)[i] = static_cast<unsigned char>(random());
    }
  }
  unsigned char entries[256][4] = {};
  const int count = 1 << bits;
  for (int i = 0; i < count && bits <= 8; ++i) {
    for (int c = 0; c < 3; ++c) {
      entries[i][c] = static_cast<unsigned char>(
          colors == Colors::kColored ? static_cast<int>(random() & 255) : 255 * i / (count - 1));
    }
  }
  if (colors != Colors::kNone && bitmap.SetPalette(entries[0], count) != K_SUCCESS) bitmap.Reset();
  bitmap.SetResolution(200, 100);
  return bitmap;
}

// A smooth picture, which JPEG keeps nearly as it is.
inline Bitmap SmoothBitmap(int width, int height, int bits, int order = K_ORDER_BGR) {
  Bitmap bitmap;
  if (bitmap.Create(width, height, bits, order) != K_SUCCESS) return bitmap;
  for (int y = 0; y < height; ++y) {
    unsigned char* row = bitmap.TopDownRow(y);
    for (int x = 0; x < width; ++x) {
      const Color color = {255 * x / width, 255 * y / height, 128};
      if (bits == 8) row[x] = static_cast<unsigned char>((color[0] + color[1]) / 2);
      for (size_t c = 0; c < 3 && bits == 24; ++c) {
        const size_t from = order == K_ORDER_RGB ? c : 2 - c;
        row[static_cast<size_t>(3 * x) + c] = static_cast<unsigned char>(color[from]);
      }
    }
  }
  bitmap.SetResolution(300, 300);
  return bitmap;
}

// The largest difference of any component; 1000 when the sizes differ.
inline int LargestDifference(const Bitmap& left, const Bitmap& right) {
  if (left.Width() != right.Width() || left.Height() != right.Height()) return 1000;
  int largest = 0;
  for (int y = 0; y < left.Height(); ++y) {
    for (int x = 0; x < left.Width(); ++x) {
      const Color a = ColorAt(left, x, y), b = ColorAt(right, x, y);
      for (size_t c = 0; c < 3; ++c) largest = std::max(largest, std::abs(a[c] - b[c]));
    }
  }
  return largest;
}

// Takes a record that a C routine made into an owner.
inline Bitmap Adopt(const _BITMAPHANDLE& record) {
  Bitmap bitmap;
  *bitmap.Handle() = record;
  return bitmap;
}

}  // namespace kz::test
