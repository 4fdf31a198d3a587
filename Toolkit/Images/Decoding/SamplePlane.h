// Decoded samples: all of a picture, or those of one band.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/Images/Coders/CodedRows.h"
#include "Toolkit/Images/Decoding/SampleFormat.h"

namespace kz {

// Samples in rows, first sample in the most significant bits. Where they lie, `bitmap` or
// `bytes`, is the plane's own, or they are a part of the content.
struct SamplePlane {
  CodedBytes data;     // empty: all samples are 0
  size_t rowBits = 0;  // from one row to the next
  int width = 0;
  int height = 0;
  CodedRows decoded;
  std::vector<unsigned char> bytes;
  Bitmap bitmap;

  // Makes the bitmap the samples.
  void UseBitmap();
};

// How rows of samples lie in their data.
struct RowLayout {
  size_t rowBits = 0;
  int rows = 0;  // complete ones, at most the height
};

// Finds the layout of rows of width * pixelBits bits in so many bytes: padded as the
// recording algorithm has it, or otherwise when the bytes are a multiple of longer rows.
// Height 0: as many rows as there are.
RowLayout FindRowLayout(size_t bytes, int width, int height, int pixelBits, uint8_t recording);

// Copies `count` bits, from bit `at` of the data on, to the beginning of a row; the rest of
// its last byte becomes 0. The data must have them.
void CopyBits(CodedBytes data, size_t at, size_t count, unsigned char* row);

// Takes rows of samples apart.
class SampleReader {
 public:
  // Components of `format` from `first` on, `count` of them, are those of the plane.
  SampleReader(const SamplePlane& plane, const SampleFormat& format, size_t first, size_t count);
  // Writes the values of a row, 0 to 255, to every `stride`-th byte for each component.
  // The row must be one of those that are there.
  void ReadRow(int row, int width, unsigned char* values, size_t stride) const;

 private:
  unsigned ReadCode(size_t& bit, unsigned bits) const;

  const SamplePlane& m_plane;
  std::span<const uint8_t> m_bits;
  std::vector<SampleTable> m_tables;
  bool m_plainBytes;  // 8 bits a sample, on byte boundaries
  bool m_asIs;        // and the values are the codes
};

}  // namespace kz
