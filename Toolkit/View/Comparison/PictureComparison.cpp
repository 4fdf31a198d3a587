#include "Toolkit/View/Comparison/PictureComparison.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "Toolkit/Imaging/RowConversion.h"

namespace kz {

namespace {

constexpr int kColorBits = 24;
constexpr size_t kColorBytes = 3;

class Differences {
 public:
  explicit Differences(PixelDifference& to) : m_to(to) { m_to = {}; }

  void AddBits(const unsigned char* a, const unsigned char* b, int width, int y) {
    for (int i = 0; i < (width + 7) / 8; ++i) {
      const auto bits = static_cast<unsigned char>(a[i] ^ b[i]);
      if (bits == 0) continue;
      Add(i * 8 + std::countl_zero(bits), i * 8 + 8 - std::countr_zero(bits), y,
          std::popcount(bits));
    }
  }
  void AddColors(const unsigned char* a, const unsigned char* b, int width, int y) {
    for (int x = 0; x < width; ++x, a += kColorBytes, b += kColorBytes) {
      if (std::memcmp(a, b, kColorBytes) != 0) Add(x, x + 1, y, 1);
    }
  }

 private:
  void Add(int left, int right, int y, int count) {
    if (m_to.pixels == 0) m_to = {0, left, y, right, y + 1};
    m_to.pixels += count;
    m_to.left = std::min(m_to.left, left);
    m_to.right = std::max(m_to.right, right);
    m_to.bottom = y + 1;
  }
  PixelDifference& m_to;
};

bool IsPlainBilevel(const Bitmap& bitmap) {
  return bitmap.BitsPerPixel() == 1 && bitmap.Colors() == 0;
}

}  // namespace

Outcome ComparePixels(const Bitmap& a, const Bitmap& b, PixelDifference& difference) {
  const bool bilevel = IsPlainBilevel(a) && IsPlainBilevel(b);
  const int bits = bilevel ? 1 : kColorBits;
  PictureRows rowsA, rowsB;
  int status = rowsA.Begin(a, bits, K_ORDER_RGB);
  if (status == K_SUCCESS) status = rowsB.Begin(b, bits, K_ORDER_RGB);
  if (status != K_SUCCESS) return Failure(status);
  const int width = std::min(a.Width(), b.Width());
  const auto wide = static_cast<size_t>(width);
  const size_t bytes = bilevel ? (wide + 7) / 8 : wide * kColorBytes;
  Differences differences(difference);
  for (int y = 0; y < std::min(a.Height(), b.Height()); ++y) {
    const unsigned char* rowA = rowsA.Row(y);
    const unsigned char* rowB = rowsB.Row(y);
    if (std::memcmp(rowA, rowB, bytes) == 0) continue;
    if (bilevel) {
      differences.AddBits(rowA, rowB, width, y);
    } else {
      differences.AddColors(rowA, rowB, width, y);
    }
  }
  return {};
}

Outcome HashPixels(const Bitmap& bitmap, ContentHash& hash) {
  PictureRows rows;
  const int status = rows.Begin(bitmap, kColorBits, K_ORDER_RGB);
  if (status != K_SUCCESS) return Failure(status);
  ContentHasher hasher;
  hasher.AddNumber(static_cast<uint64_t>(bitmap.Width()));
  hasher.AddNumber(static_cast<uint64_t>(bitmap.Height()));
  const size_t bytes = static_cast<size_t>(bitmap.Width()) * kColorBytes;
  for (int y = 0; y < bitmap.Height(); ++y) hasher.Add(rows.Row(y), bytes);
  hash = hasher.Value();
  return {};
}

}  // namespace kz
