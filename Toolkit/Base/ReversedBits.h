// Bytes whose lowest bit is the first pixel, to bytes whose highest bit is.
#pragma once

#include <array>
#include <span>

namespace kz {

namespace detail {
consteval std::array<unsigned char, 256> MakeReversedBytes() {
  std::array<unsigned char, 256> reversed{};
  for (unsigned i = 0; i < 256; ++i) {
    unsigned byte = 0;
    for (unsigned bit = 0; bit < 8; ++bit) byte |= (i >> bit & 1) << (7 - bit);
    reversed[i] = static_cast<unsigned char>(byte);
  }
  return reversed;
}
}  // namespace detail

// Each byte's value with its bits in the other order.
inline constexpr std::array<unsigned char, 256> kReversedBytes = detail::MakeReversedBytes();

// Reverses the bits in each of the bytes.
inline void ReverseBits(std::span<unsigned char> bytes) {
  for (unsigned char& byte : bytes) byte = kReversedBytes[byte];
}

}  // namespace kz
