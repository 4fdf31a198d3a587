// fltLoad on all paths.
#include "Fuzz/FilterCalls.h"
#include "Fuzz/MemoryDisk.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  PinCodecLibrary();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const MemoryDisk disk(data, size);
  _IMAGEFILEINFO info;
  for (const int page : {1, 2}) {
    if (Describe(page, &info) == K_SUCCESS) LoadDescribed(page, info);
  }
  return 0;
}
