#include "Toolkit/Base/Bitmap.h"

#include <utility>

#include "Host/Kernel/Kernel.h"

namespace kz {

bool IsSanePicture(int64_t width, int64_t height, int bitsPerPixel) {
  if (width <= 0 || height <= 0 || width > INT32_MAX || height > INT32_MAX) return false;
  const int bytesPerLine = K_BitmapBytesPerLine(static_cast<int>(width), bitsPerPixel);
  return bytesPerLine > 0 && height <= kMaxPictureBytes / bytesPerLine;
}

std::string SizeText(int width, int height) {
  return std::to_string(width) + " x " + std::to_string(height) + " pixels";
}

Outcome CheckPictureSize(int64_t width, int64_t height, int bitsPerPixel, int64_t maxPixels) {
  if (width <= 0 || height <= 0) {
    return Failure(K_ERROR_INVALID_FORMAT, "the picture has no size");
  }
  const std::string picture =
      "the picture of " + std::to_string(width) + " x " + std::to_string(height) + " pixels";
  if (height > maxPixels / width) {
    return Failure(K_ERROR_INVALID_FORMAT,
                   picture + " is above the limit of " + std::to_string(maxPixels) + " pixels");
  }
  if (!IsSanePicture(width, height, bitsPerPixel)) {
    return Failure(K_ERROR_INVALID_FORMAT, picture + " takes too much memory");
  }
  return {};
}

bool IsGrayBitmap(const _BITMAPHANDLE& bitmap) {
  if (bitmap.nBitsPerPixel > 8) return false;
  const int colors = bitmap.pPalette != nullptr ? bitmap.nColors : 0;
  for (int i = 0; i < colors; ++i) {
    const unsigned char* entry = bitmap.pPalette + ptrdiff_t{4} * i;
    if (entry[0] != entry[1] || entry[1] != entry[2]) return false;
  }
  return true;
}

Bitmap::~Bitmap() { Reset(); }

Bitmap::Bitmap(Bitmap&& other) noexcept : m_handle(std::exchange(other.m_handle, {})) {}

Bitmap& Bitmap::operator=(Bitmap&& other) noexcept {
  if (this != &other) {
    Reset();
    m_handle = std::exchange(other.m_handle, {});
  }
  return *this;
}

int Bitmap::Create(int width, int height, int bitsPerPixel, int colorOrder, int viewPerspective) {
  Reset();
  if (width <= 0 || height <= 0) return K_ERROR_INVALID_FORMAT;
  if (K_BitmapBytesPerLine(1, bitsPerPixel) < 0) return K_ERROR_BITS_PER_PIXEL;
  if (!IsSanePicture(width, height, bitsPerPixel)) return K_ERROR_INVALID_FORMAT;
  return K_CreateBitmap(&m_handle, sizeof(m_handle), width, height, bitsPerPixel, colorOrder,
                        viewPerspective);
}

_BITMAPHANDLE Bitmap::Release() { return std::exchange(m_handle, {}); }

void Bitmap::Reset() { K_FreeBitmap(&m_handle); }

const unsigned char* Bitmap::TopDownRow(int row) const {
  const bool bottomUp = m_handle.nViewPerspective == K_VIEW_BOTTOM_UP;
  const int stored = bottomUp ? m_handle.nHeight - 1 - row : row;
  return m_handle.pRows + static_cast<size_t>(stored) * static_cast<size_t>(m_handle.nRowBytes);
}

unsigned char* Bitmap::TopDownRow(int row) {
  return const_cast<unsigned char*>(std::as_const(*this).TopDownRow(row));
}

void Bitmap::SetResolution(int x, int y) {
  m_handle.nXResolution = x;
  m_handle.nYResolution = y;
}

int Bitmap::SetPalette(const unsigned char* entries, int colors) {
  return K_SetBitmapNewPalette(&m_handle, entries, colors);
}

void Bitmap::DropPalette() {
  K_GlobalFree(m_handle.pPalette, __LINE__, "Toolkit/Base/Bitmap");
  m_handle.pPalette = nullptr;
  m_handle.nColors = 0;
}

}  // namespace kz
