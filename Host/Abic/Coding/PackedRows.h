// Rows of images as their users have them, and the pixels of one bit plane, a byte each.
#pragma once

// A byte with its bits in the other order.
constexpr unsigned char ReversedByte(unsigned char byte) {
  const unsigned pairs = (byte & 0x55U) << 1 | (byte >> 1 & 0x55U);
  const unsigned fours = (pairs & 0x33U) << 2 | (pairs >> 2 & 0x33U);
  return static_cast<unsigned char>(fours << 4 | fours >> 4);
}

// Takes bit plane `plane` (0 is the least significant) of `width` pixels of depth 1, 4 or 8.
// Writes whole bytes' pixels: up to 7 more, which are 0.
void ReadPlane(const unsigned char* imageRow, int depth, int plane, int width,
               unsigned char* pixels);
// Puts pixels of 0 or 1 into a row in which the plane's bits are 0.
void WritePlane(const unsigned char* pixels, int depth, int plane, int width,
                unsigned char* imageRow);
