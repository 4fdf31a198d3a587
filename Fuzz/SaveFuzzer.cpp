// Appending to, inserting into and replacing in a fuzzed file; the first byte
// chooses what is done.
#include <cstddef>

#include "Fuzz/FilterCalls.h"
#include "Fuzz/MemoryDisk.h"

namespace {

// What a save that succeeds leaves of the file, and how many pages it has then.
void RequireOnePage(const std::vector<uint8_t>& before, const std::vector<uint8_t>& after,
                    uint32_t splice) {
  if (after[0] == SDF_BEGIN_SEGMENT) return;  // a new file
  const size_t kept = KeptBytes(before, after);
  constexpr size_t endDocument = 17;  // with 0x5A; is written anew
  if (splice == K_SAVE_INSERT_PAGE) {
    Require(kept == before.size(), "an insertion keeps every byte");
  } else if (splice == 0) {
    Require(kept + endDocument >= before.size(), "an append keeps all but the end");
  }
  // An append looks at the file's end only, where data can look like a field.
  const int pages = splice == 0 ? -1 : EndPages(before);
  if (pages < 0) return;
  const bool replaced = splice == K_SAVE_REPLACE_PAGE && pages > 1;
  Require(EndPages(after) == pages + (replaced ? 0 : 1), "a save makes or replaces one page");
}

}  // namespace

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
  if (status == K_SUCCESS) RequireOnePage({data + 1, data + size}, disk.content(), splice);
  if (status == K_SUCCESS && size > 1 && splice == 0) {
    constexpr unsigned char end[] = {0x00, 0x10, 0xD3, 0xA9, 0xA8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    const auto& content = disk.content();
    Require(content.size() > sizeof(end) &&
                std::equal(std::begin(end), std::end(end), content.end() - sizeof(end)),
            "a document ends with End Document after an append");
  }
  return 0;
}
