// The codings of a page.
#pragma once

namespace fax {

enum class Coding {
  Group3OneDimensional,  // T.4, MH
  Group3TwoDimensional,  // T.4, MR
  Group4,                // T.6, MMR
  IbmMmr,                // T.4 two-dimensional with an infinite K
};

// The tallest page.
constexpr int kMaxHeight = 0x7FFF;

}  // namespace fax
