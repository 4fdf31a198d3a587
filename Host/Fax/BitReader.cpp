#include "Host/Fax/BitReader.h"

#include <algorithm>

namespace fax {

namespace {

// Reverses the order of the bits in each of nCount bytes.
void ReverseBits(unsigned char* pBytes, size_t nCount) {
  for (size_t i = 0; i < nCount; i += sizeof(uint64_t)) {
    const size_t nBytes = std::min(nCount - i, sizeof(uint64_t));
    uint64_t word = 0;
    std::memcpy(&word, pBytes + i, nBytes);
    word = ReverseBitsOfBytes(word);
    std::memcpy(pBytes + i, &word, nBytes);
  }
}

}  // namespace

BitReader PieceSource::Start() {
  pEnd = pMemory;
  BitReader reader{0, 0, NextPiece(pMemory), this};
  reader.Refill();
  return reader;
}

PiecePosition PieceSource::NextPiece(const unsigned char* pNext) {
  const auto lastZeros = [this] { return pEnd + kZerosBehindData - sizeof(uint64_t); };
  if (bLastPiece) return {pEnd + kZerosBehindData / 2, lastZeros()};
  const auto nHeld = std::min(static_cast<size_t>(pNext - pMemory), size_t{kBytesHeld});
  const size_t nTail = static_cast<size_t>(pEnd - pNext);
  std::memmove(pMemory, pNext - nHeld, nHeld + nTail);
  unsigned char* const pPiece = pMemory + nHeld + nTail;
  const int nRead = pfnRead(pContext, pPiece, kPieceSize);
  const size_t nPiece = std::min(static_cast<unsigned int>(std::max(nRead, 0)), kPieceSize);
  if (bReversedBits) ReverseBits(pPiece, nPiece);
  std::memset(pPiece + nPiece, 0, kZerosBehindData);

  bLastPiece = nPiece < kPieceSize;
  pEnd = pPiece + nPiece;
  return {pMemory + nHeld, bLastPiece ? lastZeros() : pEnd - sizeof(uint64_t)};
}

}  // namespace fax
