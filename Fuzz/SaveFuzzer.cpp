// Appending to, inserting into and replacing in a fuzzed file; the first byte
// chooses what is done.
#include <algorithm>
#include <cstddef>

#include "Format/StructuredField.h"
#include "Fuzz/FieldKinds.h"
#include "Fuzz/FilterCalls.h"
#include "Fuzz/MemoryDisk.h"

namespace {

// Bytes of the End Document field that a file ends with.
size_t EndDocument(const std::vector<uint8_t>& file) {
  constexpr size_t named = 16;
  const auto ends = [&](size_t length) {
    const uint8_t field[] = {0, static_cast<uint8_t>(length), 0xD3, 0xA9, 0xA8};
    return file.size() >= length && std::equal(std::begin(field), std::end(field),
                                               file.end() - static_cast<ptrdiff_t>(length));
  };
  return ends(named) ? named : ends(kz::kIntroducerLength) ? kz::kIntroducerLength : 0;
}

// What a save that succeeds leaves of the file, and how many pages it has then.
void RequireOnePage(const std::vector<uint8_t>& before, const std::vector<uint8_t>& after,
                    uint32_t splice) {
  if (before.empty()) return;  // a new file
  if (splice == K_SAVE_INSERT_PAGE) {
    Require(KeptBytes(before, after) == before.size(), "an insertion keeps every byte");
  } else if (splice == 0) {
    const auto kept = static_cast<ptrdiff_t>(before.size() - EndDocument(before));
    Require(std::equal(before.begin(), before.begin() + kept, after.begin()),
            "an append keeps every byte before End Document");
  }
  const int pages = EndPages(before);
  if (pages < 0) return;
  // An append looks at the file's end only, where data can look like a field.
  const size_t last = kStructuredFields.Split(before).back().length;
  if (splice == 0 && last != EndDocument(before) && last != EndDocument(before) + 1) return;
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
    Require(EndDocument(disk.content()) == 16, "an append ends with a named End Document");
  }
  return 0;
}
