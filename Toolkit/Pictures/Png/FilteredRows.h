// The rows of a picture as PNG (ISO/IEC 15948, clause 9) filters them before they are
// deflated; PDF has the same filters.
#pragma once

#include <cstddef>
#include <vector>

#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/Imaging/RowConversion.h"

namespace kz {

class FilteredRows {
 public:
  // Begins with the bitmap, which must live as long. Returns 1, -27 or -1.
  int Begin(const Bitmap& bitmap);
  // Whether the rows hold numbers of the bitmap's colours. If not, 1, 4 and 8 bits are
  // grey, 0 being black, and 24 bits red, green and blue.
  bool Mapped() const { return m_mapped; }
  // Whether rows have filters of their own. If not, they are all as they are.
  bool Filtered() const { return m_filtered; }
  // Whether little repeats in them even with filters, as in photographs.
  bool Noisy() const { return m_noisy; }
  int Height() const { return m_bitmap->Height(); }
  // Bytes of a row with the number of its filter before it.
  size_t RowBytes() const { return m_rowBytes + 1; }
  // Makes `count` rows from `first` on, which must be in range.
  void Make(int first, int count, unsigned char* to);

 private:
  const unsigned char* PlainRow(int row);
  // Writes the row that has the least sum of absolute differences.
  void Filter(const unsigned char* row, const unsigned char* above, unsigned char* to);
  // Finds out what filters do for the picture.
  void TryFilters();

  const Bitmap* m_bitmap = nullptr;
  PictureRows m_rows;
  bool m_mapped = false;
  bool m_filtered = false;
  bool m_noisy = false;
  size_t m_rowBytes = 0;
  size_t m_pixelBytes = 1;
  std::vector<unsigned char> m_plain;  // a row with what is past the width cleared
  std::vector<unsigned char> m_above;  // the row above the next one
  std::vector<unsigned char> m_tries[5];
};

}  // namespace kz
