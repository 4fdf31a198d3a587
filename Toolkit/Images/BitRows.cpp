#include "Toolkit/Images/BitRows.h"

namespace kz {

void OrBits(unsigned char* to, size_t at, const unsigned char* from, size_t bits) {
  if (bits == 0) return;
  to += at / 8;
  const unsigned shift = at % 8;
  const size_t whole = bits / 8;
  const auto put = [&](size_t i, unsigned byte) {
    to[i] = static_cast<unsigned char>(to[i] | byte >> shift);
    const unsigned rest = byte << (8 - shift) & 0xFF;
    // Without anything left over, the next byte may be past the row.
    if (rest != 0) to[i + 1] = static_cast<unsigned char>(to[i + 1] | rest);
  };
  for (size_t i = 0; i < whole; ++i) put(i, from[i]);
  if (bits % 8 != 0) put(whole, from[whole] & (0xFF00u >> bits % 8 & 0xFF));
}

}  // namespace kz
