// Appending to, inserting into and replacing in a fuzzed file; the first byte
// chooses what is done.
#include <cstddef>

#include "Fuzz/FilterCalls.h"
#include "Fuzz/MemoryDisk.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  PinCodecLibrary();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  constexpr int formats[] = {71, 72, 73, 117, 190, 253, 377, 309, 310, 311, 313, 191, 312};
  constexpr uint32_t flags[] = {0, K_SAVE_INSERT_PAGE, K_SAVE_REPLACE_PAGE};
  const MemoryDisk disk(data + 1, size - 1);
  const uint32_t splice = flags[data[0] / 16u % 3u];
  const int format = formats[data[0] % std::size(formats)];
  const int status = SavePicture(format, splice, 2, data[0]);
  Require(status == K_SUCCESS || status < 0, "a save succeeds or fails");
  if (status == K_SUCCESS && size > 1 && splice == 0) {
    constexpr unsigned char end[] = {0x00, 0x10, 0xD3, 0xA9, 0xA8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    const auto& content = disk.content();
    Require(content.size() > sizeof(end) &&
                std::equal(std::begin(end), std::end(end), content.end() - sizeof(end)),
            "a document ends with End Document after an append");
  }
  return 0;
}
