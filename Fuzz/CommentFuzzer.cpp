// fltComment with a buffer that may be too small.
#include <vector>

#include "Fuzz/FilterCalls.h"
#include "Fuzz/MemoryDisk.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const MemoryDisk disk(data + 1, size - 1);
  for (const size_t room : {size_t{data[0]}, 64 * size}) {
    std::vector<unsigned char> text(room + 1, 0xEE);
    _LOADOPTIONS options = {};
    options.nPageNumber = data[0] % 4;
    _IMAGEFILEINFO info = {};
    info.nTotalPages = data[0] / 4u % 4u;
    _COMMENTDISPATCH dispatch{"fuzzed", text.data(), static_cast<uint32_t>(room), &options, &info};
    const int status = fltComment(&dispatch);
    Require(status == K_SUCCESS || status < 0, "a comment succeeds or fails");
    Require(text[room] == 0xEE, "nothing is stored behind the buffer");
  }
  return 0;
}
