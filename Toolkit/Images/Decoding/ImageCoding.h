// How the compressions of the Image Encoding field are decoded.
#pragma once

#include <cstdint>
#include <string>

#include "Format/CodingIds.h"
#include "Host/Fax/Fax.h"
#include "Toolkit/Images/Coders/FaxImage.h"

namespace kz {

// The fax coder's code for a compression; 0 when it isn't fax.
constexpr uint32_t FaxCodeOf(uint8_t compression) {
  switch (compression) {
    case coding::kIbmMmr:
      return K_FAX_IBM_MMR;
    case coding::kTiffAlgorithm2:
      return kFaxTiffAlgorithm2;
    case coding::kGroup3:
      return K_FAX_G3_1D;
    case coding::kGroup3TwoDimensional:
      return K_FAX_G3_2D;
    case coding::kGroup4:
      return K_FAX_G4;
    default:
      return 0;
  }
}

constexpr bool IsAbic(uint8_t compression) {
  return compression == coding::kAbic || compression == coding::kConcatenatedAbic;
}

// Whether there is a decoder for it; solid fill has no data.
constexpr bool IsCodingSupported(uint8_t compression) {
  switch (compression) {
    case coding::kNone:
    case coding::kAbic:
    case coding::kConcatenatedAbic:
    case coding::kPackBits:
    case coding::kLzw:
    case coding::kLzwPredictor:
    case coding::kJpeg:
    case coding::kJbig2:
      return true;
    default:
      return FaxCodeOf(compression) != 0;
  }
}

// "RL4 compression": the subject of a refusal.
std::string CodingName(uint8_t compression);

}  // namespace kz
