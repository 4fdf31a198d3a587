// Coding of the rows of one bit plane, and their way out of and into the packed
// rows of an image.
#pragma once

#include "Host/Abic/ArithmeticDecoder.h"
#include "Host/Abic/ArithmeticEncoder.h"
#include "Host/Abic/PixelContext.h"

// The row being coded and the two above it; above the first row all is 0.
class PlaneRows {
 public:
  PlaneRow& Current() { return m_rows[m_current]; }
  const PlaneRow& Current() const { return m_rows[m_current]; }
  const PlaneRow& OneAbove() const { return m_rows[(m_current + 2) % 3]; }
  const PlaneRow& TwoAbove() const { return m_rows[(m_current + 1) % 3]; }
  void NextRow() { m_current = (m_current + 1) % 3; }
  void NextPlane() { m_rows = {}; }

 private:
  std::array<PlaneRow, 3> m_rows{};
  size_t m_current = 0;
};

// Decodes the current row of `width` pixels.
void DecodePlaneRow(ArithmeticDecoder& decoder, ContextStates& states, PlaneRows& rows, int width);
// Encodes the current row.
void EncodePlaneRow(ArithmeticEncoder& encoder, ContextStates& states, const PlaneRows& rows,
                    int width);

// Takes bit plane `plane` (0 is the least significant) of an image row of depth 1
// or 4 as a row of the plane.
void ReadPlane(const unsigned char* imageRow, int depth, int plane, int width, PlaneRow& row);
// Puts a row of the plane into an image row in which the plane's bits are 0.
void WritePlane(const PlaneRow& row, int depth, int plane, int width, unsigned char* imageRow);
