#include "Toolkit/Imaging/RowConversion.h"

#include <algorithm>
#include <cstring>

#include "Host/Kernel/Kernel.h"

namespace kz {

namespace {

constexpr const char* kSource = "Toolkit/Imaging/RowConversion";
constexpr int kThreshold = 128;

// One conversion, from BeginRows to EndRows. Its block goes on with `width` bytes
// of luma and, for dithering, two rows of errors.
struct RowContext {
  int width;
  int height;
  int sourceBits;
  int targetBits;
  bool rgbOrder;
  size_t sourceBytesPerLine;
  size_t rowBytes;              // of the row buffer
  unsigned char luma[256];      // of each pixel value up to 8 bits
  unsigned char color[256][3];  // the same in the bitmap's colour order
  unsigned char* lumaRow;       // one row at 8 bits
  // Dithering goes from row to row: errors[0] comes into row ditherRow, errors[1]
  // goes out of it once lastDithered says so. In 16ths, with a place on each side.
  int* errors[2];
  int ditherRow;
  bool lastDithered;
};

unsigned char Luma(int red, int green, int blue) {
  return static_cast<unsigned char>((77 * red + 150 * green + 29 * blue + 128) >> 8);
}

void FillPixelTables(const _BITMAPHANDLE& bitmap, RowContext& context) {
  if (bitmap.nBitsPerPixel > 8) return;
  const int values = 1 << bitmap.nBitsPerPixel;
  for (int i = 0; i < values; ++i) {
    unsigned char rgb[3] = {};
    if (bitmap.pPalette == nullptr) {
      const int gray = i * 255 / (values - 1);
      std::fill_n(rgb, 3, static_cast<unsigned char>(values == 2 ? 255 - gray : gray));
    } else if (i < bitmap.nColors) {
      std::memcpy(rgb, bitmap.pPalette + ptrdiff_t{4} * i, 3);
    }
    context.luma[i] = Luma(rgb[0], rgb[1], rgb[2]);
    if (!context.rgbOrder) std::swap(rgb[0], rgb[2]);
    std::memcpy(context.color[i], rgb, 3);
  }
}

void FillColorTable(const RowContext& context, unsigned char* table) {
  if (context.targetBits > 8) return;
  const int values = 1 << context.targetBits;
  const bool zeroIsWhite =
      context.targetBits == 1 && (context.sourceBits != 1 || context.luma[0] >= context.luma[1]);
  for (int i = 0; i < values; ++i) {
    const int gray = (zeroIsWhite ? values - 1 - i : i) * 255 / (values - 1);
    std::fill_n(table + kColorTableHeader + ptrdiff_t{4} * i, 3, static_cast<unsigned char>(gray));
  }
}

// Calls use(x, value) for each pixel of a row of 1, 4 or 8 bits.
template <typename Use>
void ForEachValue(const unsigned char* row, int width, int bits, Use use) {
  if (bits == 8) {
    for (int x = 0; x < width; ++x) use(x, row[x]);
  } else if (bits == 4) {
    for (int x = 0; x < width; ++x) use(x, (x & 1) == 0 ? row[x >> 1] >> 4 : row[x >> 1] & 15);
  } else {
    for (int x = 0; x < width; ++x) use(x, row[x >> 3] >> (7 - (x & 7)) & 1);
  }
}

void ToLuma(const RowContext& context, const unsigned char* from, unsigned char* to) {
  if (context.sourceBits == 24) {
    const int red = context.rgbOrder ? 0 : 2;
    for (int x = 0; x < context.width; ++x, from += 3) {
      to[x] = Luma(from[red], from[1], from[2 - red]);
    }
  } else {
    ForEachValue(from, context.width, context.sourceBits,
                 [&](int x, int value) { to[x] = context.luma[value]; });
  }
}

void ToColor(const RowContext& context, const unsigned char* from, unsigned char* to) {
  ForEachValue(from, context.width, context.sourceBits, [&](int x, int value) {
    std::memcpy(to + ptrdiff_t{3} * x, context.color[value], 3);
  });
}

void PackFourBits(const unsigned char* luma, int width, unsigned char* to) {
  for (int x = 0; x < width; ++x) {
    const int value = (luma[x] * 15 + 127) / 255;
    to[x >> 1] = static_cast<unsigned char>((x & 1) == 0 ? value << 4 : to[x >> 1] | value);
  }
}

// Packs one bit per pixel, isBlack(x) asked in order.
template <typename IsBlack>
void PackBits(int width, unsigned char* to, IsBlack isBlack) {
  for (int x = 0; x < width;) {
    unsigned bits = 0;
    const int end = std::min(x + 8, width);
    const int missing = x + 8 - end;
    for (; x < end; ++x) bits = bits << 1 | (isBlack(x) ? 1U : 0U);
    *to++ = static_cast<unsigned char>(bits << missing);
  }
}

// Floyd-Steinberg: 7/16 to the right, 3/16, 5/16 and 1/16 to the row below.
void DitherRow(const RowContext& context, unsigned char* to) {
  const int* in = context.errors[0] + 1;
  int* out = context.errors[1] + 1;
  std::fill_n(context.errors[1], context.width + 2, 0);
  int carried = 0;
  PackBits(context.width, to, [&](int x) {
    const int wanted = context.lumaRow[x] * 16 + in[x] + carried;
    const bool black = wanted < kThreshold * 16;
    // Sixteenths of the error; the last share takes what rounding left.
    const int error = wanted - (black ? 0 : 255 * 16);
    const int below = error * 5 / 16;
    const int belowLeft = error * 3 / 16;
    const int belowRight = error / 16;
    carried = error - below - belowLeft - belowRight;
    out[x - 1] += belowLeft;
    out[x] += below;
    out[x + 1] += belowRight;
    return black;
  });
}

const unsigned char* PictureRow(const _BITMAPHANDLE& bitmap, const RowContext& context, int row) {
  const bool bottomUp = bitmap.nViewPerspective == K_VIEW_BOTTOM_UP;
  const int stored = bottomUp ? context.height - 1 - row : row;
  return bitmap.pRows + static_cast<size_t>(stored) * context.sourceBytesPerLine;
}

// Brings the errors to the row's top edge, from the picture's top when the row lies
// above the last one, then makes the row.
void DitherTo(const _BITMAPHANDLE& bitmap, RowContext& context, int row, unsigned char* to) {
  if (row < context.ditherRow) {
    std::fill_n(context.errors[0], context.width + 2, 0);
    context.ditherRow = 0;
    context.lastDithered = false;
  }
  for (;;) {
    if (!context.lastDithered || context.ditherRow == row) {
      ToLuma(context, PictureRow(bitmap, context, context.ditherRow), context.lumaRow);
      DitherRow(context, to);
      context.lastDithered = true;
    }
    if (context.ditherRow == row) return;
    std::swap(context.errors[0], context.errors[1]);
    ++context.ditherRow;
    context.lastDithered = false;
  }
}

// Clears the bits after the width in the last byte of a 1-bit row.
void ClearSpareBits(unsigned char* row, int width) {
  unsigned char& last = row[(width - 1) / 8];
  const int spare = 7 - (width - 1) % 8;
  last = static_cast<unsigned char>(last >> spare << spare);
}

size_t UsedBytes(int width, int bits) {
  return (static_cast<size_t>(width) * static_cast<size_t>(bits) + 7) / 8;
}

RowContext* MakeContext(const _BITMAPHANDLE& bitmap, int bits, bool dither, size_t rowBytes) {
  const size_t width = static_cast<size_t>(bitmap.nWidth);
  const size_t errorBytes = dither ? (width + 2) * sizeof(int) : 0;
  void* block = K_LocalAllocInit(sizeof(RowContext) + 2 * errorBytes + width, 1, __LINE__, kSource);
  if (block == nullptr) return nullptr;
  auto* context = static_cast<RowContext*>(block);
  auto* rest = reinterpret_cast<unsigned char*>(context + 1);
  if (dither) {
    context->errors[0] = reinterpret_cast<int*>(rest);
    context->errors[1] = context->errors[0] + width + 2;
  }
  context->lumaRow = rest + 2 * errorBytes;
  context->width = bitmap.nWidth;
  context->height = bitmap.nHeight;
  context->sourceBits = bitmap.nBitsPerPixel;
  context->targetBits = bits;
  context->rgbOrder = bitmap.nColorOrder == K_ORDER_RGB;
  context->sourceBytesPerLine = static_cast<size_t>(bitmap.nRowBytes);
  context->rowBytes = rowBytes;
  FillPixelTables(bitmap, *context);
  return context;
}

}  // namespace

int BeginRows(_BITMAPHANDLE* pBitmap, void** ppContext, int nBitsPerPixel, uint32_t* puHostFlags,
              unsigned char** ppRow, int, void*, void*, unsigned char** ppColorTable) {
  *ppContext = nullptr;
  *ppRow = nullptr;
  *ppColorTable = nullptr;
  if (pBitmap == nullptr || pBitmap->pRows == nullptr) return K_ERROR_NO_MEMORY;
  const int converted = K_BitmapBytesPerLine(pBitmap->nWidth, nBitsPerPixel);
  const int needed = K_BitmapBytesPerLine(pBitmap->nWidth, pBitmap->nBitsPerPixel);
  if (converted < 0 || needed < 0 || pBitmap->nRowBytes < needed) return K_ERROR_BITS_PER_PIXEL;

  const bool dither = nBitsPerPixel == 1 && pBitmap->nBitsPerPixel != 1 && puHostFlags != nullptr &&
                      (*puHostFlags & K_HOST_DITHER) != 0;
  const size_t rowBytes = static_cast<size_t>(std::max(converted, pBitmap->nBytesPerLine));
  RowContext* context = MakeContext(*pBitmap, nBitsPerPixel, dither, rowBytes);
  *ppContext = context;
  *ppRow = static_cast<unsigned char*>(K_LocalAllocInit(rowBytes, 1, __LINE__, kSource));
  *ppColorTable =
      static_cast<unsigned char*>(K_LocalAllocInit(kColorTableBytes, 1, __LINE__, kSource));
  if (context == nullptr || *ppRow == nullptr || *ppColorTable == nullptr) {
    EndRows(pBitmap, ppContext, puHostFlags, ppRow, ppColorTable);
    return K_ERROR_NO_MEMORY;
  }
  FillColorTable(*context, *ppColorTable);
  return K_SUCCESS;
}

int GetRow(_BITMAPHANDLE* pBitmap, void* pContext, unsigned char* pRow, int nRow, int, uint32_t,
           void*, void*, unsigned char*) {
  if (pBitmap == nullptr || pContext == nullptr || pRow == nullptr) return K_ERROR_NO_MEMORY;
  RowContext& context = *static_cast<RowContext*>(pContext);
  if (nRow < 0 || nRow >= context.height) return K_ERROR_INVALID_FORMAT;
  const unsigned char* from = PictureRow(*pBitmap, context, nRow);
  const size_t used = UsedBytes(context.width, context.targetBits);
  const bool alike = context.sourceBits == context.targetBits;
  if (context.targetBits == 24) {
    if (alike) {
      std::memcpy(pRow, from, used);
    } else {
      ToColor(context, from, pRow);
    }
  } else if (context.targetBits == 8) {
    ToLuma(context, from, pRow);
  } else if (context.targetBits == 4) {
    ToLuma(context, from, context.lumaRow);
    PackFourBits(context.lumaRow, context.width, pRow);
  } else if (alike) {
    std::memcpy(pRow, from, used);
    ClearSpareBits(pRow, context.width);
  } else if (context.errors[0] != nullptr) {
    DitherTo(*pBitmap, context, nRow, pRow);
  } else {
    ToLuma(context, from, context.lumaRow);
    PackBits(context.width, pRow, [&](int x) { return context.lumaRow[x] < kThreshold; });
  }
  std::memset(pRow + used, 0, context.rowBytes - used);
  return K_SUCCESS;
}

int EndRows(_BITMAPHANDLE*, void** ppContext, uint32_t*, unsigned char** ppRow,
            unsigned char** ppColorTable) {
  for (void** block :
       {ppContext, reinterpret_cast<void**>(ppRow), reinterpret_cast<void**>(ppColorTable)}) {
    if (block == nullptr) continue;
    K_LocalFree(*block, __LINE__, kSource);
    *block = nullptr;
  }
  return K_SUCCESS;
}

void InvertBits(unsigned char* row, int width) {
  const int bytes = (width + 7) / 8;
  for (int i = 0; i < bytes; ++i) row[i] = static_cast<unsigned char>(~row[i]);
  ClearSpareBits(row, width);
}

PictureRows::~PictureRows() { EndRows(&m_bitmap, &m_context, &m_flags, &m_row, &m_colors); }

int PictureRows::Begin(const Bitmap& bitmap, int bitsPerPixel, int colorOrder, bool dither) {
  EndRows(&m_bitmap, &m_context, &m_flags, &m_row, &m_colors);
  m_bitmap = *bitmap.Handle();
  m_swapColors = bitsPerPixel == 24 && m_bitmap.nBitsPerPixel == 24 &&
                 (m_bitmap.nColorOrder == K_ORDER_RGB) != (colorOrder == K_ORDER_RGB);
  // Palettes go to the order wanted at once.
  if (m_bitmap.nBitsPerPixel != 24) m_bitmap.nColorOrder = colorOrder;
  m_flags = dither ? K_HOST_DITHER : 0;
  const int status = BeginRows(&m_bitmap, &m_context, bitsPerPixel, &m_flags, &m_row, 1, nullptr,
                               nullptr, &m_colors);
  m_invert = status == K_SUCCESS && bitsPerPixel == 1 && m_colors[kColorTableHeader + 2] < 0x7F;
  return status;
}

const unsigned char* PictureRows::Row(int row) {
  GetRow(&m_bitmap, m_context, m_row, row, 1, m_flags, nullptr, nullptr, m_colors);
  if (m_invert) InvertBits(m_row, m_bitmap.nWidth);
  if (m_swapColors) {
    for (ptrdiff_t x = 0; x < m_bitmap.nWidth; ++x) std::swap(m_row[3 * x], m_row[3 * x + 2]);
  }
  return m_row;
}

Outcome ConvertBitmap(const Bitmap& bitmap, int bitsPerPixel, bool dither, Bitmap& out) {
  out.Reset();
  PictureRows rows;
  int status = rows.Begin(bitmap, bitsPerPixel, bitmap.ColorOrder(), dither);
  if (status == K_SUCCESS) {
    status = out.Create(bitmap.Width(), bitmap.Height(), bitsPerPixel, bitmap.ColorOrder());
  }
  if (status != K_SUCCESS) return Failure(status);
  for (int i = 0; i < bitmap.Height(); ++i) {
    std::memcpy(out.TopDownRow(i), rows.Row(i), static_cast<size_t>(out.BytesPerLine()));
  }
  out.SetResolution(bitmap.XResolution(), bitmap.YResolution());
  return {};
}

}  // namespace kz
