#include <array>

#include "Host/Fax/Decoding/Processor.h"
#include "Host/Fax/Decoding/RunCodes.h"
#include "Host/Fax/Tables/RunTables.h"

namespace fax {

namespace {

static_assert(kRunWordBits * 4 <= kBitsAtHand);

// Draws a line: its changing elements so far are 1 bits in memory up to the byte of nPixel,
// and from there on in a word.
struct Pen {
  static constexpr const RunWords& kWords = kRunWords;
  Line& line;
  const int nWidth;
  unsigned int nPixel = 0;
  uint64_t elements = 0;

  Pen(Line& drawnLine, int nLineWidth) : line(drawnLine), nWidth(nLineWidth) {
    std::memset(line.pPixels, 0, RowWords(nWidth) * sizeof(uint64_t));
  }
  // Takes the runs of a word, which end at nNext.
  void Take(uint64_t runs, unsigned int nNext) {
    Move(runs & kRunsElements, nNext, runs >> kRunsClosedShift & 1);
  }
  // Takes a run up to nNext.
  void End(unsigned int nNext) { Move(0, nNext, 1); }
  // The line is full.
  void Finish() {
    Move(0, nPixel, 0);
    FillRuns(line.pPixels, nWidth);
    line.bListed = false;
    line.bDrawn = true;
  }
  // Adds the elements of the pixels after this one, and goes on to another pixel, with an
  // element there if bElement is 1. What is passed over stays as it was.
  void Move(uint64_t ahead, unsigned int nNext, uint64_t bElement) {
    elements ^= ahead >> (nPixel % 8);
    const uint64_t stored = BigEndian64(elements);
    std::memcpy(reinterpret_cast<unsigned char*>(line.pPixels) + nPixel / 8, &stored,
                sizeof stored);
    const unsigned int nMoved = (nNext & ~7u) - (nPixel & ~7u);
    elements = nMoved < 64 ? elements << nMoved : 0;
    elements ^= bElement << 63 >> (nNext % 8);
    nPixel = nNext;
  }
};

// Lists a line.
struct Lister {
  static constexpr const RunWords& kWords = kRunListWords;
  Line& line;
  const int nWidth;
  unsigned int nPixel = 0;
  uint16_t* pNext = line.pElements;

  void Take(uint64_t runs, unsigned int nNext) {
    for (int i = 0; i < 4; ++i)
      pNext[i] = static_cast<uint16_t>(nPixel + static_cast<uint8_t>(runs >> (32 + 8 * i)));
    // After a make-up code what stands there will be written again.
    pNext += runs >> kRunsCountShift & kRunsCount;
    pNext[-static_cast<ptrdiff_t>(runs >> kRunsClosedShift & 1)] = static_cast<uint16_t>(nNext);
    nPixel = nNext;
  }
  void End(unsigned int nNext) {
    pNext = AddElement(pNext, line.pElements, static_cast<int>(nNext));
    nPixel = nNext;
  }
  void Finish() { line.End(pNext, nWidth); }
};

template <typename Taker>
inline LineResult Decode(BitReader& reader, int nWidth, Line& line) {
  BitReader in = reader;
  Taker taker{line, nWidth};
  const auto nEnd = static_cast<unsigned int>(nWidth);
  uint64_t colour = 0;
  unsigned int nRunStart = 0;
  uint64_t bOpen = 0;  // a make-up code has begun the run there
  for (;;) {
    in.Refill();
    int nLookUps = kBitsAtHand / kRunWordBits;
    for (; nLookUps > 0; --nLookUps) {
      const uint64_t runs = Taker::kWords[colour | in.Peek(kRunWordBits)];
      const unsigned int nNext =
          taker.nPixel + static_cast<unsigned int>(runs >> kRunsPixelsShift & kNoRuns);
      if (nNext >= nEnd) [[unlikely]]
        break;
      nRunStart = bOpen != 0 ? nRunStart : taker.nPixel;
      taker.Take(runs, nNext);
      colour = runs & kRunsBlack;
      bOpen = runs >> kRunsOpenShift & 1;
      in.Skip(static_cast<int>(runs & kRunsBitCount));
    }
    if (nLookUps == 0) continue;

    // One run, or the rest of one.
    in.Refill();
    const unsigned int a0 = bOpen != 0 ? nRunStart : taker.nPixel;
    const int nRun = TakeRun(in, colour != 0, static_cast<int>(taker.nPixel - a0));
    if (nRun < 0 || nRun > nWidth - static_cast<int>(a0)) {
      reader = in;
      return nRun < 0 ? NoCode(in, kUncompressedIn1D) : LineResult::BadCode;
    }
    const unsigned int a1 = a0 + static_cast<unsigned int>(nRun);
    if (a1 == nEnd) break;
    taker.End(a1);
    colour ^= kRunsBlack;
    bOpen = 0;
  }
  taker.Finish();
  reader = in;
  return LineResult::Complete;
}

FAX_WITH_BMI LineResult DrawWithBmi(BitReader& reader, int nWidth, Line& line) {
  return Decode<Pen>(reader, nWidth, line);
}

FAX_WITH_BMI LineResult ListWithBmi(BitReader& reader, int nWidth, Line& line) {
  return Decode<Lister>(reader, nWidth, line);
}

}  // namespace

LineResult DrawOneDimensional(BitReader& reader, int nWidth, Line& line) {
  return HasBmi() ? DrawWithBmi(reader, nWidth, line) : Decode<Pen>(reader, nWidth, line);
}

LineResult DecodeOneDimensional(BitReader& reader, int nWidth, Line& line) {
  return HasBmi() ? ListWithBmi(reader, nWidth, line) : Decode<Lister>(reader, nWidth, line);
}

}  // namespace fax
