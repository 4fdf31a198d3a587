// The dump in both forms: it goes on to the end of any file.
#include <iconv.h>

#include <algorithm>

#include "Fuzz/MemoryDisk.h"
#include "Fuzz/MemoryPath.h"
#include "Toolkit/Dump/Dump.h"

// Keeps the code page loaded, which each dump would load anew.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  static const iconv_t kept = iconv_open("UTF-8", kz::kDefaultEncoding);
  Require(kept != iconv_t(-1), "the code page is there");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const MemoryPath file(data, size);
  if (!file.Complete()) return 0;
  size_t lines[2] = {0, 0};
  const auto count = [&](int form) {
    return [&lines, form](std::string_view text) {
      lines[form] += static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
      return true;
    };
  };
  const kz::Outcome dumped = kz::DumpFile(file.Path(), {}, *kz::MakeTextDump(count(0)));
  Require(dumped.Ok() || dumped.status != K_ERROR_OPEN_READ, "text is dumped");
  Require(lines[0] <= 4 * size + 16, "events don't outnumber the bytes");
  // JSON takes twice the time of all else and sees the same events.
  if (size % 4 != 0) return 0;
  const kz::Outcome again = kz::DumpFile(file.Path(), {}, *kz::MakeJsonDump(count(1)));
  Require(again.status == dumped.status, "JSON is dumped");
  Require(lines[0] == lines[1] + 1, "both forms have a line for each event");
  return 0;
}
