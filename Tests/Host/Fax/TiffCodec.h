// libtiff's fax codecs on memory, to check and to measure against.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Host/Fax/Fax.h"

using Bytes = std::vector<unsigned char>;

// A 1-bit picture, 1 being black, rows of (nWidth + 7) / 8 bytes with zeros
// past the width.
struct Picture {
  int nWidth = 0;
  int nHeight = 0;
  Bytes rows;

  Picture() = default;
  Picture(int width, int height)
      : nWidth(width), nHeight(height), rows(RowBytes() * static_cast<size_t>(height)) {}
  size_t RowBytes() const { return static_cast<size_t>(nWidth + 7) / 8; }
  unsigned char* Row(int nRow) { return rows.data() + RowBytes() * static_cast<size_t>(nRow); }
  bool operator==(const Picture&) const = default;
};

// A TIFF file with the picture as its only strip: nCode K_FAX_G3_1D, K_FAX_G3_2D
// or K_FAX_G4; with bFill the EOL codes of Group 3 end on byte boundaries. Aborts
// on failure, as the next one does.
Bytes WriteTiff(Picture& picture, int nCode, bool bFill = false);
// That strip's raw fax data.
Bytes EncodeWithTiff(Picture& picture, int nCode, bool bFill = false);

// A TIFF file in memory that holds raw fax data as its only strip.
class RawTiff {
 public:
  RawTiff(const Bytes& data, int nWidth, int nHeight, int nCode);
  // Decodes the strip. nHeight 0: libtiff refused.
  Picture Decode() const;

 private:
  int m_nWidth;
  int m_nHeight;
  Bytes m_file;
};
