#include "Host/Abic/Reading/EarlierString.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <new>

#include "Host/Abic/Coding/PackedRows.h"

namespace {

constexpr unsigned char kMarkerPrefix = 0xFF;
// A larger byte after the prefix is a marker's, no data.
constexpr unsigned char kMaxStuffedByte = 0x8F;

struct Row {
  uint16_t qe;
  uint8_t nextMps;
  uint8_t nextLps;
  bool exchange;  // an LPS here makes the two symbols change places
};

// T.88 table E.1.
constexpr std::array<Row, 47> kRows = {{
    {0x5601, 1, 1, true},    {0x3401, 2, 6, false},   {0x1801, 3, 9, false},
    {0x0AC1, 4, 12, false},  {0x0521, 5, 29, false},  {0x0221, 38, 33, false},
    {0x5601, 7, 6, true},    {0x5401, 8, 14, false},  {0x4801, 9, 14, false},
    {0x3801, 10, 14, false}, {0x3001, 11, 17, false}, {0x2401, 12, 18, false},
    {0x1C01, 13, 20, false}, {0x1601, 29, 21, false}, {0x5601, 15, 14, true},
    {0x5401, 16, 14, false}, {0x5101, 17, 15, false}, {0x4801, 18, 16, false},
    {0x3801, 19, 17, false}, {0x3401, 20, 18, false}, {0x3001, 21, 19, false},
    {0x2801, 22, 19, false}, {0x2401, 23, 20, false}, {0x2201, 24, 21, false},
    {0x1C01, 25, 22, false}, {0x1801, 26, 23, false}, {0x1601, 27, 24, false},
    {0x1401, 28, 25, false}, {0x1201, 29, 26, false}, {0x1101, 30, 27, false},
    {0x0AC1, 31, 28, false}, {0x09C1, 32, 29, false}, {0x08A1, 33, 30, false},
    {0x0521, 34, 31, false}, {0x0441, 35, 32, false}, {0x02A1, 36, 33, false},
    {0x0221, 37, 34, false}, {0x0141, 38, 35, false}, {0x0111, 39, 36, false},
    {0x0085, 40, 37, false}, {0x0049, 41, 38, false}, {0x0025, 42, 39, false},
    {0x0015, 43, 40, false}, {0x0009, 44, 41, false}, {0x0005, 45, 42, false},
    {0x0001, 45, 43, false}, {0x5601, 46, 46, false},
}};

struct Context {
  uint8_t row = 0;
  uint8_t mps = 0;
};
using Contexts = std::array<Context, size_t{1} << 16>;

Contexts& NewContexts(unsigned char* memory) { return *new (memory) Contexts{}; }

// The decoder of Annex E.3, with its registers.
class Decoder {
 public:
  explicit Decoder(const AbicString& string)
      : m_next(string.data), m_end(string.data + string.size) {
    m_c = uint32_t{*m_next} << 16;
    ByteIn();
    m_c <<= 7;
    m_ct -= 7;
  }

  unsigned char Decode(Context& context) {
    const uint32_t qe = kRows[context.row].qe;
    m_a -= qe;
    const bool lower = m_c >> 16 < qe;
    if (!lower) {
      m_c -= qe << 16;
      if ((m_a & kHalf) != 0) return context.mps;
    }
    // The larger part of the interval is always the MPS's.
    const bool lps = lower == (m_a >= qe);
    if (lower) m_a = qe;
    const Row& row = kRows[context.row];
    const uint8_t symbol = context.mps ^ (lps ? 1 : 0);
    if (lps && row.exchange) context.mps = symbol;
    context.row = lps ? row.nextLps : row.nextMps;
    do {
      if (m_ct == 0) ByteIn();
      m_a <<= 1;
      m_c <<= 1;
      --m_ct;
    } while ((m_a & kHalf) == 0);
    return symbol;
  }

  // Whether more was decoded than the string holds: after n shifts 15 + n bits are in C's
  // upper half, and the encoder has made at least 4 + n by the marker.
  bool IsPastEnd() const { return m_fillBits - m_ct > 11; }

 private:
  static constexpr uint32_t kHalf = kEarlierLeastInterval;

  // From the marker on all bits are 1.
  void ByteIn() {
    const bool stuffed = *m_next == kMarkerPrefix;
    m_ct = 8;
    if (m_next + 1 == m_end || (stuffed && m_next[1] > kMaxStuffedByte)) {
      m_c += 0xFF00;
      m_fillBits += m_ct;
      return;
    }
    m_c += uint32_t{*++m_next} << (stuffed ? 9 : 8);
    if (stuffed) m_ct = 7;
  }

  const unsigned char* m_next;  // the byte that was taken in last
  const unsigned char* m_end;
  uint32_t m_c = 0;
  uint32_t m_a = kHalf;
  int m_ct = 0;
  int64_t m_fillBits = 0;
};

// The row being decoded and the two above it, a byte a pixel, white around them.
class Rows {
 public:
  static size_t MemoryFor(int width) { return 3 * static_cast<size_t>(width + kAround); }

  Rows(unsigned char* memory, int width) : m_width(width), m_memory(memory) {
    for (int row = 0; row < 3; ++row)
      m_rows[row] = memory + static_cast<ptrdiff_t>(row) * (width + kAround) + kLeft;
    Clear();
  }
  void Clear() { std::memset(m_memory, 0, MemoryFor(m_width)); }

  // Decodes the current row and returns it.
  const unsigned char* Decode(Decoder& decoder, Contexts& contexts) {
    const unsigned char* two = m_rows[0];
    const unsigned char* one = m_rows[1];
    unsigned char* row = m_rows[2];
    uint32_t above = 0, near = 0, left = 0;
    for (int x = -3; x < 0; ++x) {
      above = above << 1 | two[x + 2];
      near = near << 1 | one[x + 3];
    }
    for (int x = 0; x < m_width; ++x) {
      above = (above << 1 | two[x + 2]) & 0x1F;
      near = (near << 1 | one[x + 3]) & 0x7F;
      row[x] = decoder.Decode(contexts[above << 11 | near << 4 | left]);
      left = (left << 1 | row[x]) & 0xF;
    }
    return row;
  }
  void Next() {
    unsigned char* oldest = m_rows[0];
    m_rows[0] = m_rows[1];
    m_rows[1] = m_rows[2];
    m_rows[2] = oldest;
  }

 private:
  static constexpr int kLeft = 4;
  static constexpr int kAround = 8;

  int m_width;
  unsigned char* m_memory;
  unsigned char* m_rows[3];
};

}  // namespace

int ReadEarlierString(const AbicString& string, const AbicLayout& layout,
                      unsigned char* imageRows) {
  const LocalBlock memory(sizeof(Contexts) + Rows::MemoryFor(layout.width), __LINE__, kAbicSource);
  if (!memory) return K_ERROR_NO_MEMORY;
  Contexts& contexts = NewContexts(memory.get());
  Rows rows(memory.get() + sizeof(Contexts), layout.width);
  Decoder decoder(string);
  for (int plane = layout.depth - 1; plane >= 0; --plane) {
    rows.Clear();
    unsigned char* imageRow = imageRows;
    for (int y = 0; y < layout.height; ++y, rows.Next(), imageRow += layout.bytesPerRow) {
      const unsigned char* row = rows.Decode(decoder, contexts);
      if (decoder.IsPastEnd()) return K_ERROR_READ;
      WritePlane(row, layout.depth, plane, layout.width, imageRow);
    }
  }
  return K_SUCCESS;
}
