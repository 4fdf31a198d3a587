// The identifiers of compressions in the Image Encoding field (IOCA).
#pragma once

#include <cstdint>

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

}  // namespace kz
