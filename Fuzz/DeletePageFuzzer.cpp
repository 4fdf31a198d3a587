// fltDeletePage: never longer than before, and unchanged where there is no page.
#include <vector>

#include "Fuzz/FilterCalls.h"
#include "Fuzz/MemoryDisk.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const MemoryDisk disk(data, size);
  _DELETEDISPATCH dispatch{"fuzzed"};
  const int status = fltDeletePage(&dispatch);
  if (status == K_SUCCESS) {
    const std::vector<uint8_t> before(data, data + size);
    const bool same = disk.content() == before;
    Require(same || disk.content().size() < size, "a deletion of nothing changes nothing");
    Require(KeptBytes(disk.content(), before) == disk.content().size(), "one range goes");
    const int pages = EndPages(before);
    Require(same || pages < 0 || EndPages(disk.content()) == pages - 1, "one page goes");
  }
  return 0;
}
