// Bits of the coded data, most significant first, from a 64-bit buffer that is
// refilled out of a piece of the file.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace fax {

// Reads at most nCount bytes into pBuffer. Returns the bytes read: fewer than
// asked for at the end of the data, none or a negative value on failure.
using ReadPieceRoutine = int (*)(void* pContext, unsigned char* pBuffer, unsigned int nCount);

constexpr unsigned int kPieceSize = 32 * 1024;
// As many bytes a decoder may have in one piece if it asks for them.
constexpr unsigned int kChunkBytes = 352;
// What stands around a piece: the tail of the one before with the bytes that a reader still
// holds, and zeros after the end of the data. No code consists of zeros, so no decoder runs
// far into them.
constexpr unsigned int kBytesHeld = 8;
constexpr unsigned int kPieceTail = kBytesHeld + kChunkBytes + 8;
constexpr unsigned int kZerosBehindData = 2 * kChunkBytes;
constexpr size_t kPieceMemory = kPieceTail + kPieceSize + kZerosBehindData;

// What Refill makes available.
constexpr int kBitsAtHand = 56;
// The longest code word: a black make-up code.
constexpr int kLongestCode = 13;

inline uint64_t BigEndian64(uint64_t n) {
  return std::endian::native == std::endian::little ? __builtin_bswap64(n) : n;
}

// The bits of each of the eight bytes in reversed order.
constexpr uint64_t ReverseBitsOfBytes(uint64_t n) {
  n = (n >> 1 & 0x5555555555555555) | (n & 0x5555555555555555) << 1;
  n = (n >> 2 & 0x3333333333333333) | (n & 0x3333333333333333) << 2;
  return (n >> 4 & 0x0F0F0F0F0F0F0F0F) | (n & 0x0F0F0F0F0F0F0F0F) << 4;
}

struct BitReader;

// Where a reader stands in the piece.
struct PiecePosition {
  const unsigned char* pNext;      // the next byte to load
  const unsigned char* pLastLoad;  // the last address that eight bytes can be loaded from
};

// Where the bits come from.
struct PieceSource {
  unsigned char* pMemory;  // kPieceMemory bytes
  ReadPieceRoutine pfnRead;
  void* pContext;
  bool bReversedBits;  // the bits of each byte come in reversed order
  bool bLastPiece = false;
  const unsigned char* pEnd = nullptr;  // end of the data in the piece

  // A reader at the first bit.
  BitReader Start();
  // Puts the bytes from pNext on, and kBytesHeld before it, in front of a new piece or, after
  // the last one, stays among the zeros. Returns a position to load from.
  PiecePosition NextPiece(const unsigned char* pNext);
};

// A plain value, so that a decoder can hold it in registers: copy it, take the
// bits, store the copy back.
struct BitReader {
  uint64_t buffer;  // the next bits from the top; only the first nBits count
  int nBits;
  PiecePosition position;
  PieceSource* pSource;

  // Makes at least kBitsAtHand bits available.
  void Refill() {
    if (position.pNext > position.pLastLoad) [[unlikely]]
      position = pSource->NextPiece(position.pNext);
    uint64_t word;
    std::memcpy(&word, position.pNext, sizeof word);
    buffer |= BigEndian64(word) >> nBits;
    position.pNext += (63 - nBits) >> 3;
    nBits |= kBitsAtHand;
  }
  // Whether the next kChunkBytes are in the piece, as those of the bits at hand always are.
  bool HoldsChunk() const { return position.pNext + kChunkBytes <= position.pLastLoad; }
  // Sees that they are. After the end of the data, where there are zeros, fewer may be.
  void HoldChunk() {
    if (!HoldsChunk() && (!pSource->bLastPiece || position.pNext > position.pLastLoad))
      position = pSource->NextPiece(position.pNext);
  }
  // The next nCount bits, 1 to 32, as a number.
  uint32_t Peek(int nCount) const { return static_cast<uint32_t>(buffer >> (64 - nCount)); }
  // Takes bits; no more than are available.
  void Skip(int nCount) {
    buffer <<= nCount;
    nBits -= nCount;
  }

  // Whether the next bit is the first of a byte.
  bool AtByte() const { return nBits % 8 == 0; }
  // Bits of the data that are not taken, negative when zeros after the data were;
  // a huge number before the last piece is in.
  int64_t BitsLeft() const {
    return pSource->bLastPiece ? int64_t{8} * (pSource->pEnd - position.pNext) + nBits : INT64_MAX;
  }
};

}  // namespace fax
