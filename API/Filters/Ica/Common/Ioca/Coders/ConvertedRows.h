// The rows of a bitmap that is saved, as the host converts them.
#pragma once

#include <algorithm>
#include <cstring>

#include "API/Filters/Ica/Common/Ica.h"

// The host's conversion, ended on every path.
class ConvertedRows {
 public:
  explicit ConvertedRows(_SAVEDISPATCH* pSave) : m_save(pSave) {
    m_status =
        pSave->pfnBeginRows(pSave->pBitmap, &m_context, pSave->nBitsPerPixel, &pSave->uHostFlags,
                            &m_row, 1, pSave->pfnHostCallback, pSave->pHostUserData, &m_colorTable);
  }
  ~ConvertedRows() {
    m_save->pfnEndRows(m_save->pBitmap, &m_context, &m_save->uHostFlags, &m_row, &m_colorTable);
  }
  ConvertedRows(const ConvertedRows&) = delete;
  ConvertedRows& operator=(const ConvertedRows&) = delete;

  // Above 0 when the conversion has begun, else why not.
  int status() const { return m_status; }

  // Appends the first count bytes of a row, counted from 0, to `to`. In 1-bit
  // images a 0 bit is stored as white. Returns above 0, or the failure.
  int CopyRow(int nRow, unsigned char* to, size_t count) const {
    const int status =
        m_save->pfnGetRow(m_save->pBitmap, m_context, m_row, nRow, 1, m_save->uHostFlags,
                          m_save->pfnHostCallback, m_save->pHostUserData, m_colorTable);
    if (status <= 0) return status;
    // In the colour table: the blue of entry 0, and what it takes to be called light.
    constexpr int blueOfEntry0 = 10;
    constexpr unsigned char light = 0x7F;
    const bool invert = m_save->nBitsPerPixel == 1 && m_colorTable[blueOfEntry0] < light;
    if (invert) {
      std::transform(m_row, m_row + count, to,
                     [](unsigned char byte) { return static_cast<unsigned char>(~byte); });
    } else {
      std::memcpy(to, m_row, count);
    }
    return status;
  }

 private:
  _SAVEDISPATCH* m_save;
  void* m_context = nullptr;
  unsigned char* m_row = nullptr;
  unsigned char* m_colorTable = nullptr;
  int m_status;
};

// Bytes of a row without padding at its end.
inline size_t BitsToBytes(int nWidth, int nBitsPerPixel) {
  return (static_cast<size_t>(nWidth) * static_cast<size_t>(nBitsPerPixel) + 7) / 8;
}
