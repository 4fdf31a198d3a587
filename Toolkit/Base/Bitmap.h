// An owned bitmap of the kernel.
#pragma once

#include <cstdint>
#include <string>

#include "Host/Kernel/Export.h"
#include "Host/Kernel/HostRecords.h"
#include "Toolkit/Base/Outcome.h"

namespace kz {

// Rows of one bitmap take at most this many bytes: a few bytes of a hostile file
// must not ask for more memory than a machine has.
constexpr int64_t kMaxPictureBytes = int64_t{1} << 30;

// Pictures of more pixels than this are not read unless the caller raises the
// limit: forty bytes of a file can declare them.
constexpr int64_t kDefaultMaxPixels = int64_t{1} << 30;

// Whether a picture of this size and depth (1, 4, 8 or 24 bits per pixel) stays
// within kMaxPictureBytes; false for sizes that aren't positive.
K_EXPORT bool IsSanePicture(int64_t width, int64_t height, int bitsPerPixel);

// Whether a picture that a file declares may be made. Fails with -9, the sizes and
// the limit when it has no size, more pixels than the limit, or is not sane.
K_EXPORT Outcome CheckPictureSize(int64_t width, int64_t height, int bitsPerPixel,
                                  int64_t maxPixels);

// "640 x 480 pixels".
K_EXPORT std::string SizeText(int width, int height);

// Bitmap::IsGray for any bitmap.
K_EXPORT bool IsGrayBitmap(const _BITMAPHANDLE& bitmap);

// Move-only owner of a _BITMAPHANDLE, its rows and its palette.
class K_EXPORT Bitmap {
 public:
  Bitmap() = default;
  ~Bitmap();
  Bitmap(Bitmap&& other) noexcept;
  Bitmap& operator=(Bitmap&& other) noexcept;

  // Makes a bitmap of zero rows in place of the old one, without a palette and
  // with resolution 0. Returns 1; -27 for a depth other than 1, 4, 8 and 24, -9
  // for a size that isn't positive or beyond kMaxPictureBytes, -1 for no memory;
  // the bitmap is empty then.
  int Create(int width, int height, int bitsPerPixel, int colorOrder = K_ORDER_BGR,
             int viewPerspective = K_VIEW_TOP_DOWN);
  // Hands rows and palette over with the record; the bitmap is empty then.
  _BITMAPHANDLE Release();
  // Frees rows and palette.
  void Reset();

  bool Empty() const { return m_handle.pRows == nullptr; }
  // The kernel's record. The kernel and the filter may change it.
  _BITMAPHANDLE* Handle() { return &m_handle; }
  const _BITMAPHANDLE* Handle() const { return &m_handle; }

  // The picture's row from the top, counted from 0, whatever the view perspective:
  // BytesPerLine() bytes. The row must be in range.
  unsigned char* TopDownRow(int row);
  const unsigned char* TopDownRow(int row) const;

  int Width() const { return m_handle.nWidth; }
  int Height() const { return m_handle.nHeight; }
  int BitsPerPixel() const { return m_handle.nBitsPerPixel; }
  // Bytes from a row to the next.
  int BytesPerLine() const { return m_handle.nRowBytes; }
  int ColorOrder() const { return m_handle.nColorOrder; }
  // Dots per inch; 0 = not known.
  int XResolution() const { return m_handle.nXResolution; }
  int YResolution() const { return m_handle.nYResolution; }
  void SetResolution(int x, int y);

  // Gives it a palette of four-byte entries: red, green, blue, 0. Returns 1 or -1.
  int SetPalette(const unsigned char* entries, int colors);
  // Takes the palette away.
  void DropPalette();
  // Four-byte entries, null when there is no palette.
  const unsigned char* Palette() const { return m_handle.pPalette; }
  // Whether no pixel can be anything but grey: up to 8 bits, no colours in the
  // palette.
  bool IsGray() const { return IsGrayBitmap(m_handle); }
  // Entries of the palette; 0 when there is none.
  int Colors() const { return m_handle.pPalette != nullptr ? m_handle.nColors : 0; }

 private:
  _BITMAPHANDLE m_handle{};
};

}  // namespace kz
