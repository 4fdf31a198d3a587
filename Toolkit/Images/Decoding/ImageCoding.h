// The compressions of the Image Encoding field.
#pragma once

#include <cstdint>
#include <string>

#include "Host/Fax/Fax.h"
#include "Toolkit/Images/Coders/FaxImage.h"

namespace kz {

namespace coding {
constexpr uint8_t kIbmMmr = 0x01;
constexpr uint8_t kNone = 0x03;
constexpr uint8_t kRl4 = 0x06;
constexpr uint8_t kAbic = 0x08;
constexpr uint8_t kTiffAlgorithm2 = 0x09;
constexpr uint8_t kConcatenatedAbic = 0x0A;
constexpr uint8_t kOs2Image = 0x0B;
constexpr uint8_t kPackBits = 0x0C;
constexpr uint8_t kLzw = 0x0D;
constexpr uint8_t kLzwPredictor = 0x0E;
constexpr uint8_t kSolidFill = 0x20;
constexpr uint8_t kGroup3 = 0x80;
constexpr uint8_t kGroup3TwoDimensional = 0x81;
constexpr uint8_t kGroup4 = 0x82;
constexpr uint8_t kJpeg = 0x83;
constexpr uint8_t kJbig2 = 0x84;
}  // namespace coding

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
