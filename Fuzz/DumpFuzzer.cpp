// The dump in both forms and the text: they go on to the end of any file. And the same
// file as one with framed records.
#include <iconv.h>

#include <algorithm>

#include "Format/FramingSearch.h"
#include "Format/RecordWalk.h"
#include "Fuzz/MemoryDisk.h"
#include "Fuzz/MemoryPath.h"
#include "Toolkit/Documents/Text.h"
#include "Toolkit/Dump/Dump.h"

// Whatever framing a file is taken for, the document in it are parts of it in their order.
static void TakeFramingOff(kz::ByteSpan file) {
  const auto size = static_cast<int64_t>(file.size());
  const kz::Framing found = kz::FindFraming(file, size);
  Require(found.leading < size || size == 0, "line ends are not all of a file");
  constexpr int64_t kinds = static_cast<int64_t>(kz::RecordFraming::BlockDescriptor) + 1;
  const kz::Framing other = {static_cast<kz::RecordFraming>(size % kinds), size / kinds % 2 == 0};
  for (const kz::Framing& framing : {found, other}) {
    const kz::MemorySource source(file);
    kz::RecordWalk walk(source, framing);
    int64_t at = framing.leading;
    for (kz::DocumentPiece piece; walk.Next(piece);) {
      Require(at <= piece.begin && piece.begin <= piece.end && piece.end <= size,
              "parts follow one another");
      Require(at < piece.end, "each goes on");
      at = piece.end;
    }
  }
}

// Keeps the code page loaded, which each dump would load anew.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  static const iconv_t kept = iconv_open("UTF-8", kz::kDefaultEncoding);
  Require(kept != iconv_t(-1), "the code page is there");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  TakeFramingOff({data, size});
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
  int pages = 0;
  size_t text = 0;
  const kz::Outcome read = kz::ReadTexts(file.Path(), {}, [&](const kz::TextPage& page) {
    Require(page.page == ++pages, "no page is left out");
    for (const kz::TextLine& line : page.lines) {
      Require(!line.pieces.empty(), "a line has text");
      text += line.Text().size();
    }
    return true;
  });
  Require(read.Ok() || read.status != K_ERROR_OPEN_READ, "the text is read");
  constexpr size_t repeated = size_t{64} * 1024;  // of strings on a page
  Require(text <= 8 * (size + repeated * static_cast<size_t>(pages)),
          "text doesn't outgrow a page");
  // JSON takes twice the time of all else and sees the same events.
  if (size % 4 != 0) return 0;
  const kz::Outcome again = kz::DumpFile(file.Path(), {}, *kz::MakeJsonDump(count(1)));
  Require(again.status == dumped.status, "JSON is dumped");
  Require(lines[0] == lines[1] + 1, "both forms have a line for each event");
  return 0;
}
