#include "Toolkit/Pictures/Png/FilteredRows.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "Host/Kernel/Status.h"
#include "Toolkit/Pictures/Png/Deflate.h"

namespace kz {

namespace {

// The numbers that PNG gives them.
enum FilterType { kNone, kSub, kUp, kAverage, kPaeth, kFilters };

// The predictor of PNG, without branches, so that compilers make vectors of it.
inline int Paeth(int left, int above, int aboveLeft) {
  const int toLeft = std::abs(above - aboveLeft);
  const int toAbove = std::abs(left - aboveLeft);
  const int toAboveLeft = std::abs(left + above - 2 * aboveLeft);
  const int upper = toAbove <= toAboveLeft ? above : aboveLeft;
  return toLeft <= toAbove && toLeft <= toAboveLeft ? left : upper;
}

// What a filter takes from a byte; `left` and `aboveLeft` are 0 in the first pixel.
template <FilterType type>
inline int Prediction(int left, int above, int aboveLeft) {
  if (type == kSub) return left;
  if (type == kUp) return above;
  if (type == kAverage) return (left + above) >> 1;
  if (type == kPaeth) return Paeth(left, above, aboveLeft);
  return 0;
}

template <FilterType type, size_t pixel>
void FilterBytes(const unsigned char* row, const unsigned char* above, size_t count,
                 unsigned char* to) {
  const size_t first = std::min(pixel, count);
  for (size_t x = 0; x < first; ++x) {
    to[x] = static_cast<unsigned char>(row[x] - Prediction<type>(0, above[x], 0));
  }
  for (size_t x = first; x < count; ++x) {
    to[x] = static_cast<unsigned char>(
        row[x] - Prediction<type>(row[x - pixel], above[x], above[x - pixel]));
  }
}

template <FilterType type>
void FilterRow(const unsigned char* row, const unsigned char* above, size_t count, size_t pixel,
               unsigned char* to) {
  if (pixel == 1) {
    FilterBytes<type, 1>(row, above, count, to);
  } else {
    FilterBytes<type, 3>(row, above, count, to);
  }
}

// The sum of bytes taken as differences, from -128 to 127.
uint64_t SumOfDifferences(const unsigned char* bytes, size_t count) {
  uint64_t sum = 0;
  constexpr size_t kAtOnce = 4096;  // their sum has 32 bits
  for (size_t at = 0; at < count; at += kAtOnce) {
    uint32_t part = 0;
    const size_t end = std::min(at + kAtOnce, count);
    for (size_t x = at; x < end; ++x) {
      const int byte = bytes[x];
      part += static_cast<uint32_t>(std::min(byte, 256 - byte));
    }
    sum += part;
  }
  return sum;
}

}  // namespace

int FilteredRows::Begin(const Bitmap& bitmap) {
  const int depth = bitmap.BitsPerPixel();
  m_bitmap = &bitmap;
  m_mapped = depth <= 8 && !bitmap.IsGray();
  m_filtered = m_noisy = false;
  const int status = m_rows.Begin(bitmap, depth, K_ORDER_RGB);
  if (status != K_SUCCESS) return status;
  m_rowBytes = (static_cast<size_t>(bitmap.Width()) * static_cast<size_t>(depth) + 7) / 8;
  m_pixelBytes = depth == 24 ? 3 : 1;
  m_plain.resize(m_rowBytes);
  m_above.resize(m_rowBytes);
  // Bits and colour numbers next to each other say nothing of each other.
  if (!m_mapped && depth >= 8) TryFilters();
  return status;
}

const unsigned char* FilteredRows::PlainRow(int row) {
  const auto depth = static_cast<size_t>(m_bitmap->BitsPerPixel());
  const auto width = static_cast<size_t>(m_bitmap->Width());
  const bool invert = depth == 1 && !m_mapped;
  const unsigned char* from = m_mapped ? m_bitmap->TopDownRow(row) : m_rows.Row(row);
  if (depth >= 8) return from;
  std::memcpy(m_plain.data(), from, m_rowBytes);
  if (invert) {
    InvertBits(m_plain.data(), m_bitmap->Width());
  } else {
    const size_t spare = m_rowBytes * 8 - width * depth;
    m_plain.back() = static_cast<unsigned char>(m_plain.back() >> spare << spare);
  }
  return m_plain.data();
}

void FilteredRows::Make(int first, int count, unsigned char* to) {
  if (!m_filtered) {
    for (int i = first; i < first + count; ++i, to += RowBytes()) {
      to[0] = kNone;
      std::memcpy(to + 1, PlainRow(i), m_rowBytes);
    }
    return;
  }
  if (first == 0) {
    std::fill(m_above.begin(), m_above.end(), static_cast<unsigned char>(0));
  } else {
    std::memcpy(m_above.data(), PlainRow(first - 1), m_rowBytes);
  }
  for (int i = first; i < first + count; ++i, to += RowBytes()) {
    const unsigned char* row = PlainRow(i);
    Filter(row, m_above.data(), to);
    std::memcpy(m_above.data(), row, m_rowBytes);
  }
}

void FilteredRows::Filter(const unsigned char* row, const unsigned char* above, unsigned char* to) {
  for (auto& bytes : m_tries) bytes.resize(m_rowBytes);
  std::memcpy(m_tries[kNone].data(), row, m_rowBytes);
  FilterRow<kSub>(row, above, m_rowBytes, m_pixelBytes, m_tries[kSub].data());
  FilterRow<kUp>(row, above, m_rowBytes, m_pixelBytes, m_tries[kUp].data());
  FilterRow<kAverage>(row, above, m_rowBytes, m_pixelBytes, m_tries[kAverage].data());
  FilterRow<kPaeth>(row, above, m_rowBytes, m_pixelBytes, m_tries[kPaeth].data());
  uint64_t least = UINT64_MAX;
  int best = kNone;
  for (int type = kNone; type < kFilters; ++type) {
    const uint64_t sum = SumOfDifferences(m_tries[type].data(), m_rowBytes);
    if (sum >= least) continue;
    least = sum;
    best = type;
  }
  to[0] = static_cast<unsigned char>(best);
  std::memcpy(to + 1, m_tries[best].data(), m_rowBytes);
}

// Noise on white paper is better left as it is: what the sums of differences can't tell is
// tried on parts of the picture.
void FilteredRows::TryFilters() {
  constexpr int kBandRows = 16;
  constexpr size_t kLeastBytes = size_t{32} * 1024, kMostBytes = size_t{256} * 1024;
  const size_t wanted =
      std::clamp(m_rowBytes * static_cast<size_t>(Height()) / 8, kLeastBytes, kMostBytes);
  const int most = Height() / kBandRows;
  const int bands = std::min(most, static_cast<int>(wanted / (m_rowBytes * size_t{kBandRows})) + 1);
  std::vector<unsigned char> part;
  const auto sizeOf = [&](bool filtered) {
    m_filtered = filtered;
    part.clear();
    const int rows = bands > 0 ? kBandRows : Height();
    for (int i = 0; i < std::max(bands, 1); ++i) {
      const int first = static_cast<int>(int64_t{Height() - rows} * i / std::max(bands - 1, 1));
      part.resize(part.size() + RowBytes() * static_cast<size_t>(rows));
      Make(first, rows, part.data() + part.size() - RowBytes() * static_cast<size_t>(rows));
    }
    return DeflatedSize(part);
  };
  const size_t plain = sizeOf(false);
  const size_t filtered = sizeOf(true);
  m_filtered = filtered < plain;
  m_noisy = m_filtered && filtered > part.size() / 3;
}

}  // namespace kz
