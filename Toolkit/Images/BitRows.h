// Rows of pixels of one bit each, the first in the highest bit of a byte.
#pragma once

#include <cstddef>

namespace kz {

// Sets in `to`, from bit `at` on, what is set in the first `bits` bits of `from`. Reads no
// byte of `from` past those bits.
void OrBits(unsigned char* to, size_t at, const unsigned char* from, size_t bits);

}  // namespace kz
