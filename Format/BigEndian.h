// Multi-byte numbers of a file are big-endian ("Numbers" of docs/format.md).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace kz {

// Bytes of a file in memory.
using ByteSpan = std::span<const unsigned char>;

// The same bytes, for what takes text in any encoding.
inline std::string_view AsText(ByteSpan bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// The number of two or four bytes.
constexpr uint16_t GetBig16(const unsigned char* bytes) {
  return static_cast<uint16_t>(bytes[0] << 8 | bytes[1]);
}
constexpr uint32_t GetBig32(const unsigned char* bytes) {
  return static_cast<uint32_t>(GetBig16(bytes)) << 16 | GetBig16(bytes + 2);
}

// The number of `count` bytes, at most 7, at an offset; what isn't there doesn't count.
constexpr int64_t GetBig(std::string_view bytes, size_t at, size_t count) {
  int64_t value = 0;
  for (; count > 0 && at < bytes.size(); --count, ++at) {
    value = value << 8 | static_cast<unsigned char>(bytes[at]);
  }
  return value;
}

// Stores the low 16 or 32 bits of a number.
constexpr void PutBig16(unsigned char* bytes, uint32_t value) {
  bytes[0] = static_cast<unsigned char>(value >> 8);
  bytes[1] = static_cast<unsigned char>(value);
}
constexpr void PutBig32(unsigned char* bytes, uint32_t value) {
  PutBig16(bytes, value >> 16);
  PutBig16(bytes + 2, value);
}

}  // namespace kz
