// A picture and what it takes to save it: the records of a save and stand-ins for
// the host's row routines and its JPEG saver, which count their calls and fail on
// demand.
#pragma once

#include <cstring>
#include <string>

#include "API/Filters/Ica/Common/Thread.h"
#include "Tests/Support/FileBuilder.h"

struct SaveRequest {
  SaveRequest(int width, int height, int depth = 1, unsigned seed = 1) {
    if (K_CreateBitmap(&bitmap, sizeof bitmap, width, height, depth, K_ORDER_RGB,
                       K_VIEW_TOP_DOWN) != K_SUCCESS) {
      throw std::runtime_error("no bitmap");
    }
    const size_t bits = static_cast<size_t>(width) * static_cast<size_t>(depth);
    const Bytes pattern = Pattern((bits + 7) / 8 * static_cast<size_t>(height), seed);
    for (int y = 0; y < height; ++y) {
      Bytes bytes = Slice(pattern, (bits + 7) / 8 * static_cast<size_t>(y), (bits + 7) / 8);
      if (bits % 8 != 0) bytes.back() &= static_cast<unsigned char>(0xFF00 >> bits % 8);
      K_PutBitmapRow(&bitmap, bytes.data(), y, bytes.size());
    }
    bitmap.nXResolution = 200;
    bitmap.nYResolution = 100;
    current = this;
    colorTable[10] = 0xFF;
    save.pBitmap = &bitmap;
    save.nBitsPerPixel = bitmap.nBitsPerPixel;
    save.uHostFlags = 0x5150;
    save.pHostUserData = this;
    save.nQFactor = 20;
    save.pSaveOptions = &options;
    save.pfnBeginRows = Begin;
    save.pfnEndRows = End;
    save.pfnGetRow = Get;
    save.pfnSaveToMemory = SaveToMemory;
  }
  ~SaveRequest() {
    K_FreeBitmap(&bitmap);
    if (current == this) current = nullptr;
  }
  SaveRequest(const SaveRequest&) = delete;
  SaveRequest& operator=(const SaveRequest&) = delete;

  // One fltSave; page 1 makes a new document.
  int operator()(const std::string& file, int format, int page = 1, uint32_t flags = 0) {
    current = this;
    save.pszFileName = file.c_str();
    save.nFormat = format;
    options = {flags, page};
    return fltSave(&save);
  }
  // The picture's bits, rows in whole bytes, as an uncompressed image has them.
  Bytes PackedRows() {
    const auto width = static_cast<size_t>(bitmap.nWidth);
    Bytes rows;
    for (int number = 0; number < bitmap.nHeight; ++number) {
      Bytes bytes((width * static_cast<size_t>(bitmap.nBitsPerPixel) + 7) / 8);
      K_GetBitmapRow(&bitmap, bytes.data(), number, bytes.size());
      rows.insert(rows.end(), bytes.begin(), bytes.end());
    }
    return rows;
  }

  _BITMAPHANDLE bitmap;
  _SAVEOPTIONS options = {};
  _SAVEDISPATCH save = {};
  Bytes colorTable = Bytes(8 + 4 * 256);
  Bytes row;
  Bytes jpeg = Pattern(500);                      // what the JPEG saver delivers
  int jpegStatus = 1;                             // what it returns
  int beginStatus = 1;                            // what the begin routine returns
  int failingRow = -1;                            // the row at which the row routine
  int rowStatus = -31;                            // returns this
  int begun = 0, ended = 0;                       // conversions
  int qFactor = 0, jpegFormat = 0, jpegBits = 0;  // what the JPEG saver was asked for

 private:
  // Two of the routines are told nothing about their caller: it is the last save.
  static inline SaveRequest* current = nullptr;

  static int Begin(_BITMAPHANDLE* bitmap, void** context, int bits, uint32_t* flags,
                   unsigned char** row, int, void*, void* user, unsigned char** colors) {
    auto* self = static_cast<SaveRequest*>(user);
    EXPECT_EQ(*flags, 0x5150u);
    ++self->begun;
    if (self->beginStatus <= 0) return self->beginStatus;
    const int converted = K_BitmapBytesPerLine(bitmap->nWidth, bits);
    self->row.assign(static_cast<size_t>(std::max(converted, bitmap->nBytesPerLine)), 0);
    *context = self;
    *row = self->row.data();
    *colors = self->colorTable.data();
    return 7;
  }
  static int Get(_BITMAPHANDLE* bitmap, void* context, unsigned char* row, int number, int,
                 uint32_t, void*, void* user, unsigned char* colors) {
    auto* self = static_cast<SaveRequest*>(context);
    EXPECT_TRUE(self == user && row == self->row.data() && colors == self->colorTable.data());
    if (number == self->failingRow) return self->rowStatus;
    const bool topDown = bitmap->nViewPerspective == K_VIEW_TOP_DOWN;
    const int stored = topDown ? number : bitmap->nHeight - 1 - number;
    return K_GetBitmapRow(bitmap, row, stored, static_cast<size_t>(bitmap->nRowBytes));
  }
  static int End(_BITMAPHANDLE*, void** context, uint32_t*, unsigned char** row,
                 unsigned char** colors) {
    ++current->ended;
    *context = nullptr;
    *row = *colors = nullptr;
    Bytes().swap(current->row);  // a row that is touched from now on shows
    return 0;
  }
  static int SaveToMemory(HGLOBAL* block, _BITMAPHANDLE*, int format, int bits, int qFactor,
                          uint64_t* size, void*) {
    current->jpegFormat = format;
    current->jpegBits = bits;
    current->qFactor = qFactor;
    if (current->jpegStatus != 1) return current->jpegStatus;
    const Bytes& jpeg = current->jpeg;
    *block = WinGlobalAlloc(0, jpeg.size());
    if (*block == nullptr) return K_ERROR_NO_MEMORY;
    if (!jpeg.empty()) std::memcpy(WinGlobalLock(*block), jpeg.data(), jpeg.size());
    *size = jpeg.size();
    return 1;
  }
};
