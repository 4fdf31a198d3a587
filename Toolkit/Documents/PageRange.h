// Pages, or pictures, as people write them: `2`, `1,3-5,9-`, `z` for the last. A range that
// descends goes backwards: `z-1` is all pages in reverse.
#pragma once

#include <string_view>
#include <vector>

#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Outcome.h"

namespace kz {

class K_EXPORT PageRange {
 public:
  // `noun` is what the numbers count, for the words of failures.
  explicit PageRange(const char* noun = "page") : m_noun(noun) {}

  // -9 for a text that isn't of this form; the range is unchanged then.
  Outcome Parse(std::string_view text);
  // Whether it names a single page, be it `z`.
  bool IsSinglePage() const;
  // Whether the number of pages must be known to resolve it.
  bool NeedsPageCount() const;
  // The page numbers in their order. Fails with -9 when a page is beyond the
  // last; `pages` may be 0 when the number isn't needed and isn't known.
  Outcome Resolve(int pages, std::vector<int>& numbers) const;

 private:
  static constexpr int kLast = 0;
  struct Part {
    int first;
    int last;
  };
  const char* m_noun;
  std::vector<Part> m_parts;
};

}  // namespace kz
