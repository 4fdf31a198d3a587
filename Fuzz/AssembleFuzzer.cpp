// The page index, and documents made from what it finds: the pages in reverse, one
// of them twice, must be pages of the new document.
#include "Fuzz/MemoryDisk.h"
#include "Fuzz/MemoryPath.h"
#include "Host/Toolkit/Assemble.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const MemoryPath file(data, size);
  kz::PageIndex index;
  if (!file.Complete() || !kz::IndexPages(file.Path(), index).Ok()) return 0;
  Require(index.pages.size() <= size, "a page takes bytes");
  int64_t end = 0;
  for (const kz::IndexedPage& page : index.pages) {
    Require(page.bytes.begin >= end && page.bytes.end > page.bytes.begin, "pages are in order");
    end = page.bytes.end;
  }
  Require(end <= static_cast<int64_t>(size), "pages lie in the file");
  if (index.pages.empty() || index.pages.size() > 64) return 0;

  const int count = static_cast<int>(index.pages.size());
  std::vector<kz::PagePick> picks{{&index, count}};
  for (int page = count; page >= 1; --page) picks.push_back({&index, page});
  const MemoryPath out(nullptr, 0);
  if (!kz::AssembleDocument(picks, out.Descriptor()).Ok()) return 0;
  kz::PageIndex made;
  Require(kz::IndexPages(out.Path(), made).Ok(), "what was assembled can be indexed");
  Require(made.pages.size() == picks.size(), "every page that was asked for is there");
  return 0;
}
