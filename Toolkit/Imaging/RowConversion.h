// The row routines of a save: a bitmap's rows, top row first, at the depth that
// the file wants.
//
// Any of 1, 4, 8 and 24 bits per pixel becomes any of these. Without a palette, 1
// bit is white (0) and black (1), 4 and 8 bits are grey from black to white. Rows
// converted to 1 bit have 0 = white; rows to 4 or 8 bits are grey (ITU-R BT.601
// luma); rows to 24 bits have the bitmap's colour order. A 1-bit bitmap asked for
// at 1 bit goes out bit for bit, and the colour table says which bit is white.
#pragma once

#include <cstdint>

#include "Host/Kernel/Export.h"
#include "Host/Kernel/HostRecords.h"
#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/Base/Outcome.h"

namespace kz {

// Bit of the host flags of a save: conversion to 1 bit spreads the error
// (Floyd-Steinberg) instead of cutting at half brightness.
constexpr uint32_t K_HOST_DITHER = 0x1;

// Size of a colour table: eight header bytes (zero) and 256 entries of red, green,
// blue, 0.
constexpr int kColorTableHeader = 8;
constexpr int kColorTableBytes = kColorTableHeader + 256 * 4;

// K_BeginRowsRoutine. Returns 1; -27 for a depth it can't make or the bitmap can't
// have, -1 for no memory or a bitmap without rows. On failure everything is null.
// The bitmap must keep its rows until EndRows.
K_EXPORT int BeginRows(_BITMAPHANDLE* pBitmap, void** ppContext, int nBitsPerPixel,
                       uint32_t* puHostFlags, unsigned char** ppRow, int nReserved,
                       void* pfnHostCallback, void* pHostUserData, unsigned char** ppColorTable);
// K_GetRowRoutine. Rows may be asked for in any order and again, with the same
// result; a dithered row costs the rows between when they aren't asked in order.
// Bits after the width are 0. Returns 1, or -9 for a row outside the bitmap.
K_EXPORT int GetRow(_BITMAPHANDLE* pBitmap, void* pContext, unsigned char* pRow, int nRow,
                    int nReserved, uint32_t uHostFlags, void* pfnHostCallback, void* pHostUserData,
                    unsigned char* pColorTable);
// K_EndRowsRoutine. Frees and sets to null; harmless when there is nothing to end.
K_EXPORT int EndRows(_BITMAPHANDLE* pBitmap, void** ppContext, uint32_t* puHostFlags,
                     unsigned char** ppRow, unsigned char** ppColorTable);

// Inverts the first `width` bits of a 1-bit row; the bits after them become 0.
K_EXPORT void InvertBits(unsigned char* row, int width);

// The rows of a bitmap at one depth, top row first: the row routines for C++ code.
class K_EXPORT PictureRows {
 public:
  PictureRows() = default;
  ~PictureRows();
  PictureRows(const PictureRows&) = delete;
  PictureRows& operator=(const PictureRows&) = delete;

  // Begins. Rows of 24 bits will have the colour order given, rows of 1 bit 0 =
  // white. The bitmap must live as long. Returns 1, -27 or -1.
  int Begin(const Bitmap& bitmap, int bitsPerPixel, int colorOrder, bool dither = false);
  // The picture's row, counted from 0, which must be in range; it stands until the
  // next call. Bits after the width are 0.
  const unsigned char* Row(int row);

 private:
  _BITMAPHANDLE m_bitmap{};  // a copy of the record: the row routines only read
  void* m_context = nullptr;
  unsigned char* m_row = nullptr;
  unsigned char* m_colors = nullptr;
  uint32_t m_flags = 0;
  bool m_invert = false;
  bool m_swapColors = false;
};

// Makes `out` the same picture at another depth, top row first, with the
// resolution kept and without a palette (1 bit: 0 = white). `out` must be another
// bitmap. Fails with -27 or -1; `out` is empty then.
K_EXPORT Outcome ConvertBitmap(const Bitmap& bitmap, int bitsPerPixel, bool dither, Bitmap& out);

}  // namespace kz
