#include "Toolkit/Images/Decoding/SamplePlane.h"

#include <algorithm>
#include <cstring>

namespace kz {

void SamplePlane::UseBitmap() {
  width = bitmap.Width();
  height = bitmap.Height();
  const auto stride = static_cast<size_t>(bitmap.BytesPerLine());
  rowBits = stride * 8;
  data = {bitmap.TopDownRow(0), stride * static_cast<size_t>(height)};
}

RowLayout FindRowLayout(size_t bytes, int width, int height, int pixelBits, uint8_t recording) {
  const size_t bits = static_cast<size_t>(width) * static_cast<size_t>(pixelBits);
  const size_t packed = (bits + 7) / 8;
  RowLayout layout;
  layout.rowBits = recording == kRecordingBottomToTop ? (bits + 31) / 32 * 32 : packed * 8;
  const auto rows = static_cast<size_t>(height);
  if (recording == kRecordingUnpaddedRidic && (height == 0 || bytes < packed * rows)) {
    layout.rowBits = bits;
  } else if (height > 0 && bytes % rows == 0 && bytes / rows >= packed) {
    // Data with room for padding have it, whatever is said.
    layout.rowBits = bytes / rows * 8;
  }
  if (bits == 0) return layout;
  const size_t there = bytes * 8 < bits ? 0 : (bytes * 8 - bits) / layout.rowBits + 1;
  layout.rows =
      static_cast<int>(std::min(there, height > 0 ? rows : static_cast<size_t>(INT32_MAX)));
  return layout;
}

void CopyBits(CodedBytes data, size_t at, size_t count, unsigned char* row) {
  const size_t bytes = (count + 7) / 8;
  const size_t first = at / 8;
  const unsigned shift = at % 8;
  if (shift == 0) {
    std::memcpy(row, data.data() + first, bytes);
  } else {
    for (size_t i = 0; i < bytes; ++i) {
      const unsigned next = first + i + 1 < data.size() ? data[first + i + 1] : 0;
      row[i] = static_cast<unsigned char>((unsigned{data[first + i]} << 8 | next) >> (8 - shift));
    }
  }
  if (count % 8 != 0) row[bytes - 1] &= static_cast<unsigned char>(0xFF00u >> count % 8);
}

SampleReader::SampleReader(const SamplePlane& plane, const SampleFormat& format, size_t first,
                           size_t count)
    : m_plane(plane),
      m_bits(format.bits.data() + first, count),
      m_plainBytes(plane.rowBits % 8 == 0),
      m_asIs(!format.subtractive && !format.grayCode) {
  for (const uint8_t bits : m_bits) {
    m_tables.push_back(TableOf(format, bits));
    if (bits != 8) m_plainBytes = false;
  }
  m_asIs = m_asIs && m_plainBytes;
}

unsigned SampleReader::ReadCode(size_t& bit, unsigned bits) const {
  const CodedBytes data = m_plane.data;
  unsigned window = 0;
  for (size_t i = 0; i < 3; ++i) {
    const size_t at = bit / 8 + i;
    window = window << 8 | (at < data.size() ? data[at] : 0u);
  }
  const unsigned code = window >> (24 - bit % 8 - bits) & ((1u << bits) - 1);
  bit += bits;
  return bits > 8 ? code >> (bits - 8) : code;
}

void SampleReader::ReadRow(int row, int width, unsigned char* values, size_t stride) const {
  const size_t count = m_bits.size();
  const auto pixels = static_cast<size_t>(width);
  if (m_plane.data.empty()) {
    for (size_t x = 0; x < pixels; ++x) {
      for (size_t c = 0; c < count; ++c) values[x * stride + c] = m_tables[c][0];
    }
    return;
  }
  size_t bit = static_cast<size_t>(row) * m_plane.rowBits;
  const unsigned char* bytes = m_plane.data.data() + bit / 8;
  if (m_asIs && count == stride) {
    std::memcpy(values, bytes, pixels * count);
  } else if (m_plainBytes) {
    for (size_t x = 0; x < pixels; ++x, values += stride) {
      for (size_t c = 0; c < count; ++c) values[c] = m_tables[c][*bytes++];
    }
  } else {
    for (size_t x = 0; x < pixels; ++x, values += stride) {
      for (size_t c = 0; c < count; ++c) values[c] = m_tables[c][ReadCode(bit, m_bits[c])];
    }
  }
}

}  // namespace kz
