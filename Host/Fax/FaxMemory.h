// What loading, checking and saving share: memory from the kernel and the coding's code.
#pragma once

#include <cstdint>
#include <optional>

#include "Host/Fax/BitReader.h"
#include "Host/Fax/Coding.h"
#include "Host/Fax/Fax.h"
#include "Host/Fax/Line.h"
#include "Host/Kernel/LocalBlock.h"

namespace fax {

// The tag of the library's allocations.
constexpr const char* kSource = "Host/Fax";

// Whether lines and pages of this size can be coded.
constexpr bool IsPageSize(int64_t nWidth, int64_t nHeight) {
  return nWidth >= 1 && nWidth <= kMaxWidth && nHeight >= 1 && nHeight <= kMaxHeight;
}

// The coding of a K_FAX_* code; none for other codes.
inline std::optional<Coding> CodingOf(int nCode) {
  switch (nCode) {
    case K_FAX_G3_1D:
      return Coding::Group3OneDimensional;
    case K_FAX_G3_2D:
      return Coding::Group3TwoDimensional;
    case K_FAX_G4:
      return Coding::Group4;
    case K_FAX_IBM_MMR:
      return Coding::IbmMmr;
    default:
      return std::nullopt;
  }
}

// What a PageDecoder works in.
struct DecoderMemory {
  explicit DecoderMemory(int nWidth)
      : line(LineMemory(nWidth) * sizeof(uint16_t), __LINE__, kSource),
        reference(LineMemory(nWidth) * sizeof(uint16_t), __LINE__, kSource),
        pixels(2 * PixelMemory(nWidth) * sizeof(uint64_t), __LINE__, kSource),
        piece(kPieceMemory, __LINE__, kSource) {}
  // False when out of memory.
  explicit operator bool() const { return line && reference && pixels && piece; }

  LocalBlock line;
  LocalBlock reference;
  LocalBlock pixels;  // of both lines
  LocalBlock piece;
};

}  // namespace fax
