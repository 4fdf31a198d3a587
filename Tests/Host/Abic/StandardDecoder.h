// A second reader of the code string: the decoder of T.88 as its flow charts draw
// it, pixel by pixel. Of the library it shares the probability table only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Host/Abic/ArithmeticCoder.h"

class StandardDecoder {
 public:
  explicit StandardDecoder(const std::vector<unsigned char>& code) : m_code(code) {
    m_c = uint32_t{m_code.at(0)} << 16;
    ByteIn();
    m_c <<= 7;
    m_ct -= 7;
  }

  // The bits of one plane after another, row by row.
  std::vector<unsigned> DecodePlanes(int width, int height, int planes) {
    // Figure 3, in any order.
    constexpr int kTemplate[16][2] = {{-2, -2}, {-1, -2}, {0, -2}, {1, -2}, {2, -2}, {-3, -1},
                                      {-2, -1}, {-1, -1}, {0, -1}, {1, -1}, {2, -1}, {3, -1},
                                      {-4, 0},  {-3, 0},  {-2, 0}, {-1, 0}};
    std::vector<Context> contexts(1 << 16);
    std::vector<unsigned> bits;
    for (int row = 0; row < planes * height; ++row) {
      for (int x = 0; x < width; ++x) {
        size_t context = 0;
        for (const auto& [dx, dy] : kTemplate) {
          const bool inside = x + dx >= 0 && x + dx < width && row % height + dy >= 0;
          const auto place = static_cast<size_t>(inside ? (row + dy) * width + x + dx : 0);
          context = context << 1 | (inside ? bits[place] : 0U);
        }
        bits.push_back(Decode(contexts[context]));
      }
    }
    return bits;
  }

 private:
  struct Context {
    size_t index = 0;
    unsigned mps = 0;
  };

  unsigned Decode(Context& context) {
    const unsigned qe = probability_table::kRows[context.index].qe;
    m_a -= qe;
    if (m_c >> 16 < qe) {
      const bool mps = m_a < qe;
      m_a = qe;
      return Exchange(context, mps);
    }
    m_c -= qe << 16;
    return (m_a & 0x8000) != 0 ? context.mps : Exchange(context, m_a >= qe);
  }

  unsigned Exchange(Context& context, bool mps) {
    const probability_table::Row& row = probability_table::kRows[context.index];
    const unsigned symbol = mps ? context.mps : 1 - context.mps;
    if (!mps && row.exchange) context.mps = 1 - context.mps;
    context.index = mps ? row.nextMps : row.nextLps;
    do {
      if (m_ct == 0) ByteIn();
      m_a <<= 1;
      m_c <<= 1;
      --m_ct;
    } while ((m_a & 0x8000) == 0);
    return symbol;
  }

  void ByteIn() {
    const bool stuffed = m_code.at(m_bp) == 0xFF;
    m_ct = 8;
    if (stuffed && m_code.at(m_bp + 1) > 0x8F) {
      m_c += 0xFF00;
      return;
    }
    m_c += uint32_t{m_code.at(++m_bp)} << (stuffed ? 9 : 8);
    if (stuffed) m_ct = 7;
  }

  const std::vector<unsigned char>& m_code;
  size_t m_bp = 0;
  uint32_t m_c = 0;
  uint32_t m_a = 0x8000;
  int m_ct = 0;
};
