// fltDeletePage: never longer than before, and unchanged where there is no page.
#include <vector>

#include "Fuzz/FilterCalls.h"
#include "Fuzz/MemoryDisk.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const MemoryDisk disk(data, size);
  _DELETEDISPATCH dispatch{"fuzzed"};
  const int status = fltDeletePage(&dispatch);
  if (status == K_SUCCESS) {
    Require(disk.content().size() <= size, "a deletion makes no file longer");
    const bool same = disk.content() == std::vector<uint8_t>(data, data + size);
    Require(same || disk.content().size() < size, "a deletion of nothing changes nothing");
  }
  return 0;
}
