// Writing of codes, the first bit in a byte's most significant one.
#pragma once

#include <cstdint>
#include <cstring>

#include "Host/Fax/BitReader.h"

namespace fax {

// A code word as a number, and how many bits it has.
struct Code {
  uint32_t nWord;
  int nBits;
};

// A plain value, so that an encoder can hold it in registers: copy it, write,
// store the copy back. pNext has room for the codes and eight bytes more.
struct BitWriter {
  uint64_t buffer;  // bits that are not in memory yet, from the top
  int nBits;        // how many; fewer than 8 after Flush
  unsigned char* pNext;

  // Adds a code; at most 56 bits may come between two calls of Flush.
  void Put(Code code) {
    nBits += code.nBits;
    buffer |= uint64_t{code.nWord} << (64 - nBits);
  }
  void Flush() {
    const uint64_t word = BigEndian64(buffer);
    std::memcpy(pNext, &word, sizeof word);
    pNext += nBits >> 3;
    buffer <<= nBits & ~7;
    nBits &= 7;
  }
  // Fills the last byte with zeros.
  void Align() {
    nBits = (nBits + 7) & ~7;
    Flush();
  }
};

}  // namespace fax
