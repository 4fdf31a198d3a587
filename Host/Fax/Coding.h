// The codings of a page.
#pragma once

namespace fax {

enum class Coding {
  Group3OneDimensional,  // T.4, MH
  Group3TwoDimensional,  // T.4, MR
  Group4,                // T.6, MMR
  IbmMmr,                // T.4 two-dimensional with an infinite K
};

// Whether every line has an EOL in front, at which decoding can resume.
constexpr bool IsGroup3(Coding coding) {
  return coding == Coding::Group3OneDimensional || coding == Coding::Group3TwoDimensional;
}
// Whether a bit after each EOL tells how the next line is coded: 1 for
// one-dimensionally.
constexpr bool HasTagBits(Coding coding) {
  return coding == Coding::Group3TwoDimensional || coding == Coding::IbmMmr;
}

// EOL codes of the end markers.
constexpr int kReturnToControl = 6;      // T.4 RTC, and EOP of IBM MMR
constexpr int kEndOfFacsimileBlock = 2;  // T.6 EOFB

// The tallest page.
constexpr int kMaxHeight = 0x7FFF;

}  // namespace fax
