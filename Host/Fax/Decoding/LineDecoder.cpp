#include "Host/Fax/Decoding/LineDecoder.h"

#include <algorithm>
#include <bit>

#include "Host/Fax/Decoding/RunCodes.h"

namespace fax {

namespace {

// What is taken between two calls of Refill.
static_assert(kVerticalsBits <= kBitsAtHand && kHorizontalBits + kRunsBits <= kBitsAtHand);

using Lanes [[gnu::vector_size(16)]] = uint16_t;

static_assert(sizeof(Lanes) == kElementsAtOnce * sizeof(uint16_t));

inline Lanes LoadLanes(const void* pElements) {
  Lanes lanes;
  std::memcpy(&lanes, pElements, sizeof lanes);
  return lanes;
}

// Decodes several codes of Vertical mode as if each b1 were the element after
// the one before, which it mostly is, and puts the elements at pNext. False when
// that is not so, when a code does not fit in the line, or when the line is full.
inline bool DecodeVerticals(const VerticalsEntry& entry, const uint16_t* b1, int a0,
                            uint16_t* pNext) {
  // Of the lanes after nCodes nothing counts; the entry's last one is no offset.
  static constexpr uint16_t kCounts[16] = {0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF,
                                           0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF};
  constexpr Lanes kAllButFirst = {0, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF};
  const uint16_t* const pOffsets = reinterpret_cast<const uint16_t*>(&entry);
  const Lanes before = LoadLanes(b1 - 1);
  const Lanes after = LoadLanes(b1 + 1);
  const Lanes a1 = LoadLanes(b1) + LoadLanes(pOffsets);
  const Lanes a0OfOthers = before + LoadLanes(pOffsets - 1);  // not of the first code
  // The next b1, of the other colour, is `after` only if it is right of a1 and
  // `before` is not.
  Lanes wrong = reinterpret_cast<Lanes>(a1 < before) | reinterpret_cast<Lanes>(a1 >= after) |
                (reinterpret_cast<Lanes>(a1 <= a0OfOthers) & kAllButFirst);
  wrong &= LoadLanes(kCounts + kElementsAtOnce - entry.nCodes);
  uint64_t aWrong[2];
  std::memcpy(aWrong, &wrong, sizeof aWrong);
  std::memcpy(pNext, &a1, sizeof a1);
  return (aWrong[0] | aWrong[1]) == 0 && *pNext > a0;
}

// The next b1 after a code of Vertical mode, which has the other colour: the
// element after the old one or, for VL, the one before; two further on if that is
// not right of a1, and only after VR(3) that may be so twice.
inline const uint16_t* NextB1(const uint16_t* b1, int a1, int nOffset) {
  b1 += nOffset < 0 ? -1 : 1;
  b1 += 2 * static_cast<ptrdiff_t>(*b1 <= a1);
  if (nOffset == 3) [[unlikely]]
    b1 += 2 * static_cast<ptrdiff_t>(*b1 <= a1);
  return b1;
}

// How many codes of Pass mode follow each other, of those at hand. There are many
// where the line above has dots and this one has none.
inline int PassesInARow(const BitReader& in) {
  constexpr uint64_t kPassCodes = 0x1111'1111'1111'1111;
  return std::min(std::countl_zero(in.buffer ^ kPassCodes), kBitsAtHand) / kPassBits;
}

}  // namespace

LineResult DecodeTwoDimensional(BitReader& reader, int nWidth, const Line& reference, Line& line) {
  BitReader in = reader;
  uint16_t* const pFirst = line.pElements;
  uint16_t* pNext = pFirst;                  // where a1 goes
  const uint16_t* b1 = reference.pElements;  // b2 stands after it
  const uint16_t* const pEnd = b1 + reference.nElements;
  int a0 = -1;
  line.nVectors = line.nTurns = line.nRepeats = 0;
  LineResult result = LineResult::Complete;
  while (a0 < nWidth && result == LineResult::Complete) {
    in.Refill();
    // Two to seven codes of Vertical mode.
    const VerticalsEntry& verticals = kVerticals[in.Peek(kVerticalsBits)];
    if (verticals.nCodes > 1) {
      if (DecodeVerticals(verticals, b1, a0, pNext)) [[likely]] {
        in.Skip(verticals.nBits);
        pNext += verticals.nCodes;
        b1 += verticals.nCodes;
        a0 = pNext[-1];
        ++line.nVectors;
        continue;
      }
    }
    ++line.nTurns;
    const Mode mode = kModes[in.Peek(kModeBits)].mode;
    if (mode == Mode::Vertical) {
      // One code, and another one: where b1 was not the element after the one
      // before, the next is often not either.
      for (int i = 0; i < 2; ++i) {
        const ModeEntry& code = kModes[in.Peek(kModeBits)];
        if (code.mode != Mode::Vertical) break;
        const int a1 = *b1 + code.nOffset;
        if (a1 <= a0 || a1 > nWidth) [[unlikely]] {
          result = LineResult::BadCode;
          break;
        }
        in.Skip(code.nBits);
        *pNext++ = static_cast<uint16_t>(a1);
        a0 = a1;
        if (a1 == nWidth) break;
        b1 = NextB1(b1, a1, code.nOffset);
      }
    } else if (mode == Mode::Pass) {
      // a0' is put below b2; the colour stays. The line is at its end when b2 is.
      const auto nToEnd = static_cast<int>((pEnd - b1) / 2) + 1;
      const int nPasses = std::min(PassesInARow(in), nToEnd);
      in.Skip(nPasses * kPassBits);
      b1 += ptrdiff_t{2} * nPasses;
      a0 = b1[-1];
    } else if (mode == Mode::Horizontal) {
      // The runs a0a1 and a1a2 follow; the first run of a line begins at its first
      // pixel, not at the imaginary a0 before it. The next mode is often the same:
      // new dots under white.
      const bool bBlack = (pNext - pFirst) % 2 != 0;
      const auto& table = bBlack ? kRunsFromBlack : kRunsFromWhite;
      a0 = std::max(a0, 0);
      do {
        in.Skip(kHorizontalBits);
        const RunsEntry& runs = table[in.Peek(kRunsBits)];
        if (runs.nRuns != 0 && a0 + runs.aEnds[1] <= nWidth) [[likely]] {
          in.Skip(runs.nBitsOfTwo);
          pNext[0] = static_cast<uint16_t>(a0 + runs.aEnds[0]);
          pNext[1] = static_cast<uint16_t>(a0 + runs.aEnds[1]);
          pNext += 2;
          a0 += runs.aEnds[1];
        } else {
          in.Refill();
          const int nRun1 = TakeRun(in, bBlack);
          in.Refill();
          const int nRun2 = nRun1 < 0 ? kNoRunLength : TakeRun(in, !bBlack);
          if (nRun2 < 0 || nRun1 + nRun2 > nWidth - a0) {
            result = LineResult::BadCode;
            break;
          }
          pNext = AddElement(pNext, pFirst, a0 + nRun1);
          a0 += nRun1 + nRun2;
          pNext = AddElement(pNext, pFirst, a0);
        }
        in.Refill();
        ++line.nRepeats;
      } while (in.Peek(kHorizontalBits) == kHorizontalCode && a0 < nWidth);
      // Mostly by nothing or little, which can't be guessed.
      b1 += 2 * static_cast<ptrdiff_t>(*b1 <= a0 && *b1 < nWidth);
      b1 += 2 * static_cast<ptrdiff_t>(*b1 <= a0 && *b1 < nWidth);
      while (*b1 <= a0 && a0 < nWidth) b1 += 2;
    } else {
      result = NoCode(in, kUncompressedIn2D);
    }
  }
  line.End(pNext, nWidth);
  reader = in;
  return result;
}

}  // namespace fax
