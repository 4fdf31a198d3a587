#include "Host/Fax/RunDecoder.h"

#include "Host/Fax/Processor.h"
#include "Host/Fax/RunCodes.h"
#include "Host/Fax/RunTables.h"

namespace fax {

namespace {

static_assert(kRunWordBits * 4 <= kBitsAtHand);

constexpr uint64_t kTop = uint64_t{1} << 63;

// Where the line is: its changing elements so far are 1 bits in memory up to the byte of
// nPixel, and from there on in a word.
struct Pen {
  unsigned char* pElements;
  unsigned int nPixel = 0;
  uint64_t elements = 0;

  // The elements of the pixels after this one, and on to another pixel, with an element
  // there if bElement is 1. What is passed over stays as it was.
  void Draw(uint64_t ahead, unsigned int nNext, uint64_t bElement) {
    elements ^= ahead >> (nPixel % 8);
    const uint64_t stored = BigEndian64(elements);
    std::memcpy(pElements + nPixel / 8, &stored, sizeof stored);
    const unsigned int nMoved = (nNext & ~7u) - (nPixel & ~7u);
    elements = nMoved < 64 ? elements << nMoved : 0;
    elements ^= bElement << 63 >> (nNext % 8);
    nPixel = nNext;
  }
};

inline LineResult Decode(BitReader& reader, int nWidth, Line& line) {
  BitReader in = reader;
  auto* const pPixels = reinterpret_cast<unsigned char*>(line.pPixels);
  std::memset(pPixels, 0, RowWords(nWidth) * sizeof(uint64_t));
  Pen pen{pPixels};
  const auto nEnd = static_cast<unsigned int>(nWidth);
  uint64_t colour = 0;
  unsigned int nRunStart = 0;
  uint64_t bOpen = 0;  // a make-up code has begun the run there
  for (;;) {
    in.Refill();
    int nLookUps = kBitsAtHand / kRunWordBits;
    for (; nLookUps > 0; --nLookUps) {
      const uint64_t runs = kRunWords[colour | in.Peek(kRunWordBits)];
      const unsigned int nNext =
          pen.nPixel + static_cast<unsigned int>(runs >> kRunsPixelsShift & kNoRuns);
      if (nNext >= nEnd) [[unlikely]]
        break;
      nRunStart = bOpen != 0 ? nRunStart : pen.nPixel;
      pen.Draw(runs & kRunsElements, nNext, runs >> kRunsClosedShift & 1);
      colour = runs & kRunsBlack;
      bOpen = runs >> kRunsOpenShift & 1;
      in.Skip(static_cast<int>(runs & kRunsBitCount));
    }
    if (nLookUps == 0) continue;

    // One run, or the rest of one.
    in.Refill();
    const unsigned int a0 = bOpen != 0 ? nRunStart : pen.nPixel;
    const int nRun = TakeRun(in, colour != 0, static_cast<int>(pen.nPixel - a0));
    if (nRun < 0 || nRun > nWidth - static_cast<int>(a0)) {
      reader = in;
      return nRun < 0 ? NoCode(in, kUncompressedIn1D) : LineResult::BadCode;
    }
    const unsigned int a1 = a0 + static_cast<unsigned int>(nRun);
    if (a1 == nEnd) break;
    pen.Draw(0, a1, 1);
    colour ^= kRunsBlack;
    bOpen = 0;
  }
  pen.Draw(0, pen.nPixel, 0);
  FillRuns(line.pPixels, nWidth);
  line.bListed = false;
  line.bDrawn = true;
  reader = in;
  return LineResult::Complete;
}

FAX_WITH_BMI LineResult DecodeWithBmi(BitReader& reader, int nWidth, Line& line) {
  return Decode(reader, nWidth, line);
}

}  // namespace

LineResult DecodeRunsToPixels(BitReader& reader, int nWidth, Line& line) {
  return HasBmi() ? DecodeWithBmi(reader, nWidth, line) : Decode(reader, nWidth, line);
}

}  // namespace fax
