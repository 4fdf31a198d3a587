// A fax decoder (KZ_CODING) on bare data: the first bytes give flags and the size.
#include "Fuzz/MemoryDisk.h"
#include "Host/Fax/Fax.h"

namespace {

int TakeRow(void*, _BITMAPHANDLE* bitmap, unsigned char* row, uint32_t, int index, int,
            void* userData) {
  Require(index == (*static_cast<int*>(userData))++, "rows come in order");
  const int unused = bitmap->nBytesPerLine * 8 - bitmap->nWidth;
  for (int bit = 0; bit < unused; ++bit) {
    const int at = bitmap->nWidth + bit;
    Require((row[at / 8] >> (7 - at % 8) & 1) == 0, "bits behind the width are 0");
  }
  return K_SUCCESS;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 4) return 0;
  const MemoryDisk disk(data + 4, size - 4);
  const int width = 1 + (data[1] | (data[2] & 0x0F) << 8);
  const int height = 1 + data[3];
  _BITMAPHANDLE bitmap;
  K_CreateBitmap(&bitmap, sizeof(bitmap), width, height, 1, K_ORDER_BGR, K_VIEW_TOP_DOWN);
  _LOADINFO info = {};
  info.nFormat = static_cast<uint32_t>(KZ_CODING);
  info.nWidth = static_cast<uint32_t>(width);
  info.nHeight = static_cast<uint32_t>(height);
  info.nBitsPerPixel = 1;
  info.uFlags = (data[0] & 1) != 0 ? K_RAW_REVERSED_BITS : 0;
  _LOADDISPATCH dispatch = {};
  dispatch.pBitmap = &bitmap;
  tagHANDLE* file = K_RedirectedOpen("fuzzed", K_OPEN_READ, 0);
  int rows = 0;
  const int status = K_LoadRawFax(&dispatch, file, &info, nullptr, &bitmap, TakeRow, 1, &rows);
  Require(status == K_SUCCESS || status < 0, "a load succeeds or fails");
  Require(status != K_SUCCESS || rows == height, "a load that succeeds delivers every row");
  FaxCheck check;
  Require(K_CheckRawFax(data + 4, size - 4, &info, &check) == status && check.nRows == rows,
          "a check says what a load does");
  K_RedirectedClose(file);
  K_FreeBitmap(&bitmap);
  return 0;
}
