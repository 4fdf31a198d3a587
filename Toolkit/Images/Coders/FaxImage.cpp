#include "Toolkit/Images/Coders/FaxImage.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "Host/Fax/Fax.h"
#include "Toolkit/Images/Coders/TiffHuffman.h"
#include "Toolkit/Imaging/FaxData.h"

namespace kz {

namespace {

constexpr int kMaxWidth = 0x8000;
constexpr int kMaxHeight = 0x7FFF;

bool BitAt(CodedBytes data, size_t bit) { return (data[bit / 8] >> (7 - bit % 8) & 1) != 0; }

// Whether an end-of-line code, with a tag bit after it or not, stands before a bit. At
// least eleven zeros and a one.
bool EndsInEol(CodedBytes data, size_t bit, size_t tagBits) {
  const size_t length = 12 + tagBits;
  if (bit < length) return false;
  for (size_t i = 0; i < 11; ++i) {
    if (BitAt(data, bit - length + i)) return false;
  }
  return BitAt(data, bit - tagBits - 1);
}

// Takes the codes away that end a page (EOFB, RTC or EOP): without them the rows end
// where the data do. Of Group 3 one end-of-line code stays, which ends the last row. True
// when there were any.
bool CutPageEnd(std::vector<unsigned char>& data, uint32_t code) {
  size_t end = data.size() * 8;
  while (end > 0 && data[end / 8 - 1] == 0) end -= 8;
  while (end > 0 && !BitAt(data, end - 1)) --end;
  const size_t tagBits = code == K_FAX_G3_2D ? 1 : 0;
  size_t codes = 0;
  size_t cut = end;
  while (EndsInEol(data, cut, tagBits)) {
    cut -= 12 + tagBits;
    ++codes;
  }
  if (codes < 2) return false;
  if (code == K_FAX_G3_1D || code == K_FAX_G3_2D) cut += 12 + tagBits;
  data.resize((cut + 7) / 8);
  if (cut % 8 != 0) data.back() &= static_cast<unsigned char>(0xFF00u >> cut % 8);
  return true;
}

_LOADINFO Describe(uint32_t code, int width, int height) {
  _LOADINFO info = {};
  info.nFormat = code;
  info.nWidth = static_cast<uint32_t>(width);
  info.nHeight = static_cast<uint32_t>(height);
  info.nBitsPerPixel = 1;
  return info;
}

CodedRows DecodeAtWidth(CodedBytes data, uint32_t code, int width, int height, Bitmap& bitmap) {
  CodedRows result;
  result.status = bitmap.Create(width, height, 1);
  if (result.status != K_SUCCESS) return result;
  if (code == kFaxTiffAlgorithm2) return DecodeTiffHuffman(data, bitmap);
  _LOADINFO info = Describe(code, width, height);
  result.status =
      DecodeFax(data.data(), data.size(), info, 0, bitmap, &result.damaged, &result.rows);
  return result;
}

CodedRows CountAtWidth(CodedBytes data, uint32_t code, int width, int height) {
  if (code == kFaxTiffAlgorithm2) {
    Bitmap rows;
    return DecodeAtWidth(data, code, width, height, rows);
  }
  CodedRows result;
  _LOADINFO info = Describe(code, width, height);
  result.status = CountFaxRows(data.data(), data.size(), info, &result.damaged, &result.rows);
  return result;
}

bool IsClean(const CodedRows& rows) { return rows.status == K_SUCCESS && !rows.damaged; }

// The number of rows in the data, and whether they end as data of that width do.
int CountRows(CodedBytes data, uint32_t code, int width, int64_t maxPixels, bool& fits) {
  std::vector<unsigned char> rowData(data.begin(), data.end());
  const bool hasEnd = CutPageEnd(rowData, code);
  // A row takes a bit at least.
  const int64_t most = std::min<int64_t>(maxPixels / width, int64_t{8} * std::ssize(rowData) + 1);
  const int highest = static_cast<int>(std::clamp<int64_t>(most, 1, kMaxHeight));
  CodedRows result = CountAtWidth(rowData, code, width, highest);
  const int count = result.rows;
  fits = hasEnd ? count > 0 : result.status == K_ERROR_READ && !result.damaged;
  if (hasEnd && count < highest) {
    // Where the row after the last should be stands the end of the page.
    result = CountAtWidth(data, code, width, count + 1);
    fits = fits && IsClean(result);
  }
  return count;
}

// Narrows the rows of a bitmap.
int CutWidth(const Bitmap& wide, int width, Bitmap& bitmap) {
  const int status = bitmap.Create(width, wide.Height(), 1);
  if (status != K_SUCCESS) return status;
  const size_t bytes = (static_cast<size_t>(width) + 7) / 8;
  const auto lastByte =
      static_cast<unsigned char>(0xFF << (bytes * 8 - static_cast<size_t>(width)));
  for (int row = 0; row < wide.Height(); ++row) {
    unsigned char* to = bitmap.TopDownRow(row);
    std::memcpy(to, wide.TopDownRow(row), bytes);
    to[bytes - 1] &= lastByte;
  }
  return K_SUCCESS;
}

}  // namespace

CodedRows DecodeFaxImage(CodedBytes data, uint32_t code, int width, int height, int64_t maxPixels,
                         Bitmap& bitmap) {
  CodedRows result;
  if (width > kMaxWidth || height > kMaxHeight) {
    result.status = K_ERROR_INVALID_FORMAT;
    result.what = "fax data of more than 32768 x 32767 pixels are not supported";
    return result;
  }
  int tried = 0;
  for (const int padding : {1, 8, 16, 32}) {
    const int codedWidth = (width + padding - 1) / padding * padding;
    if (codedWidth == tried || codedWidth > kMaxWidth) continue;
    tried = codedWidth;
    bool fits = true;
    const int rows = height > 0 ? height : CountRows(data, code, codedWidth, maxPixels, fits);
    if (rows == 0) continue;
    Bitmap attempt;
    CodedRows attempted = DecodeAtWidth(data, code, codedWidth, rows, attempt);
    fits = fits && IsClean(attempted);
    if (!bitmap.Empty() && !fits) continue;
    // The stated width keeps what it gave unless another one is right.
    result = attempted;
    if (codedWidth == width) {
      bitmap = std::move(attempt);
    } else {
      const int status = CutWidth(attempt, width, bitmap);
      if (status != K_SUCCESS) result.status = status;
    }
    if (fits) break;
  }
  if (result.rows == 0) {
    if (result.status == K_SUCCESS) result.status = K_ERROR_READ;
    bitmap.Reset();
  }
  return result;
}

}  // namespace kz
