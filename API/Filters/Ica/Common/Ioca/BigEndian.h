// Multi-byte numbers of a file are big-endian.
#pragma once

#include <cstdint>

inline uint16_t GetBig16(const unsigned char* bytes) {
  return static_cast<uint16_t>(bytes[0] << 8 | bytes[1]);
}

inline uint32_t GetBig32(const unsigned char* bytes) {
  return static_cast<uint32_t>(GetBig16(bytes)) << 16 | GetBig16(bytes + 2);
}

inline void PutBig16(unsigned char* bytes, uint32_t value) {
  bytes[0] = static_cast<unsigned char>(value >> 8);
  bytes[1] = static_cast<unsigned char>(value);
}

inline void PutBig32(unsigned char* bytes, uint32_t value) {
  PutBig16(bytes, value >> 16);
  PutBig16(bytes + 2, value);
}
