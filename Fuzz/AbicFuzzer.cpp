// The ABIC decoder on bare data: the first bytes give the size and the depth.
#include "Fuzz/FilterCalls.h"
#include "Fuzz/MemoryDisk.h"

namespace {

K_DecodeAbicRoutine g_decode;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  g_decode = PinCodecLibrary();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 4) return 0;
  const MemoryDisk disk(nullptr, 0);
  const int width = 1 + (data[0] | (data[1] & 0x07) << 8);
  const int height = 1 + data[2];
  unsigned char* rows = nullptr;
  const int status =
      g_decode(data + 4, static_cast<unsigned>(size - 4), &rows, 4, width, height, data[3] & 1);
  Require((status == K_SUCCESS) == (rows != nullptr), "rows come with success only");
  if (rows != nullptr) {
    const int depth = (data[3] & 1) != 0 ? 1 : 4;
    const size_t expected = static_cast<size_t>((width * depth + 31) / 32 * 4 * height);
    Require(WinGlobalSize(WinGlobalHandle(rows)) >= expected, "the block holds every row");
    WinGlobalFree(WinGlobalHandle(rows));
  }
  return 0;
}
