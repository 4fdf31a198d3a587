#include "Host/Abic/Coding/PackedRows.h"

#include <cstdint>
#include <cstring>

namespace {

constexpr int kWordPixels = 8;
constexpr uint64_t kOnes = 0x0101010101010101;

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "words hold the first pixel lowest");

// A byte's bits, the highest first, as eight bytes of 0 or 1.
uint64_t Unpack(unsigned char byte) {
  constexpr uint64_t bits = 0x0102040810204080;
  return ((byte * kOnes & bits) + 0x7F7F7F7F7F7F7F7F) >> 7 & kOnes;
}

unsigned char Pack(uint64_t pixels) {
  return static_cast<unsigned char>(pixels * 0x8040201008040201 >> 56);
}

}  // namespace

void ReadPlane(const unsigned char* imageRow, int depth, int plane, int width,
               unsigned char* pixels) {
  if (depth == 1) {
    for (int x = 0; x < width; x += kWordPixels) {
      const uint64_t word = Unpack(*imageRow++);
      std::memcpy(pixels + x, &word, sizeof word);
    }
  } else if (depth == 4) {
    for (int x = 0; x < width; ++x) {
      const int shift = plane + (x % 2 == 0 ? 4 : 0);
      pixels[x] = imageRow[x / 2] >> shift & 1;
    }
  } else {
    for (int x = 0; x < width; ++x) pixels[x] = imageRow[x] >> plane & 1;
  }
  // Padding of the image's rows may be anything.
  std::memset(pixels + width, 0, static_cast<size_t>(-width & (kWordPixels - 1)));
}

void WritePlane(const unsigned char* pixels, int depth, int plane, int width,
                unsigned char* imageRow) {
  if (depth == 1) {
    int x = 0;
    for (; x + kWordPixels <= width; x += kWordPixels) {
      uint64_t word = 0;
      std::memcpy(&word, pixels + x, sizeof word);
      *imageRow++ = Pack(word);
    }
    if (x == width) return;
    uint64_t word = 0;
    std::memcpy(&word, pixels + x, static_cast<size_t>(width - x));
    *imageRow = Pack(word);
  } else if (depth == 4) {
    for (int x = 0; x < width; ++x) {
      const int shift = plane + (x % 2 == 0 ? 4 : 0);
      imageRow[x / 2] = static_cast<unsigned char>(imageRow[x / 2] | pixels[x] << shift);
    }
  } else {
    for (int x = 0; x < width; ++x) {
      imageRow[x] = static_cast<unsigned char>(imageRow[x] | pixels[x] << plane);
    }
  }
}
