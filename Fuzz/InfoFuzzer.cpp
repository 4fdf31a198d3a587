// fltInfo, and the readers that count pages.
#include "API/Filters/Ica/Common/Ioca/Document/Navigation.h"
#include "Fuzz/FilterCalls.h"
#include "Fuzz/MemoryDisk.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const MemoryDisk disk(data, size);
  _IMAGEFILEINFO info;
  for (const int page : {1, 2}) Describe(page, &info);
  tagHANDLE* file = K_RedirectedOpen("fuzzed", K_OPEN_READ, 0);
  int pages = 0;
  K_GetTotalPages(file, &pages);
  Require(pages >= 0 && static_cast<size_t>(pages) <= size / 8, "a page takes eight bytes");
  K_RedirectedClose(file);
  return 0;
}
