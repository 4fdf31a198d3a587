#include "Host/Fax/Decoding/DenseDecoder.h"

#include <algorithm>
#include <array>
#include <utility>

#include "Host/Fax/Decoding/Processor.h"
#include "Host/Fax/Decoding/RunCodes.h"
#include "Host/Fax/Decoding/Steps.h"
#include "Host/Fax/Tables/DecodeTables.h"
#include "Host/Fax/Tables/DenseTables.h"

namespace fax {

namespace {

inline void StoreBits(unsigned char* p, uint64_t word) {
  word = BigEndian64(word);
  std::memcpy(p, &word, sizeof word);
}

// The 64 pixels around a0, and where the line above changes in them.
struct Window {
  const unsigned char* pReference;  // pixels
  unsigned char* pElements;         // of the line: a 1 bit for each changing element
  int nWidth;
  int nBase = 0;           // the window's first pixel, in a whole byte
  int nUsed;               // a0, from nBase on
  unsigned int nRoom = 0;  // steps of up to as many pixels can be made
  bool bBlack = false;     // the colour of a0
  uint64_t elements = 0;   // the line's elements in the window
  // The elements of the line above right of a0, from the top bit on: those that b1 may be
  // when a0 has its colour, and when it has the other one.
  uint64_t b1s = 0;
  uint64_t others = 0;

  // As long as a step ends before, b1 was in the window, and VR(3) ends in it too.
  static constexpr int kLimit = 60;
  static constexpr uint64_t kNoB1 = 0xFF;

  // The pixels of the line above that begin a run of black, or with bBlack of white.
  uint64_t Changes(int nPixel, bool bToWhite) const {
    const unsigned char* const p = pReference + nPixel / 8;
    const uint64_t pixels = LoadBits(p);
    const uint64_t edges = pixels ^ (pixels >> 1 | uint64_t{p[-1]} << 63);
    return edges & (bToWhite ? ~pixels : pixels);
  }
  inline void LoadReference() {
    b1s = (Changes(nBase, bBlack) & ~kNoB1) << (nUsed + 1);
    others = (Changes(nBase, !bBlack) & ~kNoB1) << (nUsed + 1);
    nRoom = static_cast<unsigned int>(std::min(kLimit, nWidth - nBase) - 1 - nUsed);
  }
  // Moves the window to where what may be b1 from there on is known.
  inline void SlideTo(int nTo, uint64_t b1sThere, uint64_t othersThere) {
    StoreBits(pElements + nBase / 8, elements);
    elements <<= nTo - nBase;
    nUsed -= nTo - nBase;
    nBase = nTo;
    b1s = b1sThere << (nUsed + 1);
    others = othersThere << (nUsed + 1);
    nRoom = static_cast<unsigned int>(std::min(kLimit, nWidth - nBase) - 1 - nUsed);
  }
  // Moves the window to a0's byte. False when it is there already.
  inline bool Slide() {
    if (nUsed < 8) return false;
    StoreBits(pElements + nBase / 8, elements);
    const int nMoved = nUsed & ~7;
    elements <<= nMoved;
    nBase += nMoved;
    nUsed -= nMoved;
    LoadReference();
    return true;
  }
  // b1 wherever it is.
  int FindB1() const {
    int nPixel = nBase;
    uint64_t changes = Changes(nPixel, bBlack) << (nUsed + 1) >> (nUsed + 1);
    while (changes == 0 && nPixel + 64 < nWidth) changes = Changes(nPixel += 64, bBlack);
    return changes == 0 ? nWidth : std::min(nPixel + std::countl_zero(changes), nWidth);
  }
  int A0() const { return nBase + nUsed; }
  // a0 becomes a1, an element if bElement is set, of the other colour.
  void MoveTo(int a1, bool bElement) {
    StoreBits(pElements + nBase / 8, elements);
    const int nTo = a1 & ~7;
    if (nTo - nBase < 64) {
      elements <<= nTo - nBase;
    } else {
      elements = 0;
      std::memset(pElements + nBase / 8 + 8, 0, static_cast<size_t>(nTo - nBase) / 8 - 8);
    }
    nBase = nTo;
    nUsed = a1 - nTo;
    if (bElement) elements ^= uint64_t{1} << 63 >> nUsed;
    bBlack = !bBlack;
    LoadReference();
  }
  // Makes the elements, which are at pPixels, pixels.
  void Finish(uint64_t* pPixels) {
    const size_t nBytes = RowWords(nWidth) * sizeof(uint64_t);
    const size_t nStored = static_cast<size_t>(nBase) / 8;
    // Past the line's memory there is room for a word.
    StoreBits(pElements + nStored, elements);
    if (nStored + 8 < nBytes) std::memset(pElements + nStored + 8, 0, nBytes - nStored - 8);
    std::memset(pElements + nBytes, 0, 8);
    FillRuns(pPixels, nWidth);
  }
};

enum class Progress : uint8_t { Goes, LineEnds, Bad };

// Takes a run of Horizontal mode and, if the line is full with the first one, the second one,
// which must be empty then. nLeft: the pixels that are left of the line.
Progress TakeModeRun(BitReader& in, uint8_t state, int nLeft, int& nRun) {
  nRun = TakeRun(in, IsBlackState(state));
  if (nRun < 0) return Progress::Bad;
  if (nRun < nLeft) return Progress::Goes;
  int nSecond = 0;
  if (state == kFirstRunWhite || state == kFirstRunBlack) {
    in.Refill();
    nSecond = TakeRun(in, !IsBlackState(state));
  }
  return nSecond < 0 || nRun + nSecond > nLeft ? Progress::Bad : Progress::LineEnds;
}

// Makes step i, which FastSteps couldn't. If the line ends with its code, `in` is put after
// that; if it is bad, where it was found to be.
[[gnu::noinline]] Progress SlowStep(Window& window, const Steps& steps, int i, BitReader& in) {
  const uint64_t word = kStepWords[steps[i]];
  const int a0 = window.A0();
  if ((word & kStepByB1) == 0) {
    int nRun = steps[i];
    if (a0 + nRun < window.nWidth) {
      window.MoveTo(a0 + nRun, true);
      return Progress::Goes;
    }
    uint8_t state = 0;
    in = steps.CodeOf(in, i, state);
    return TakeModeRun(in, state, window.nWidth - a0, nRun);
  }
  const int a1 = window.FindB1() + static_cast<int8_t>(word) - 1;
  if (a1 > a0 && a1 < window.nWidth) {
    window.MoveTo(a1, (word & kStepElement) != 0);
    return Progress::Goes;
  }
  uint8_t state = 0;
  in = steps.CodeOf(in, i, state);
  if (a1 != window.nWidth) return Progress::Bad;
  in.Skip(kModes[in.Peek(kModeBits)].nBits);
  return Progress::LineEnds;
}

// Makes step i if it ends in the window and its b1 is there.
[[gnu::always_inline]] inline bool FastStep(Window& w, uint8_t nStep) {
  const uint64_t word = kStepWords[nStep];
  const int byB1 = static_cast<int>(static_cast<int64_t>(word) >> 63);
  const int nMove = (std::countl_zero(w.b1s) & byB1) + static_cast<int8_t>(word);
  // Also a step of none, or to the left.
  if (static_cast<unsigned int>(nMove - 1) >= w.nRoom) [[unlikely]]
    return false;
  w.nRoom -= static_cast<unsigned int>(nMove);
  w.nUsed += nMove;
  w.elements |= (word << 1 & uint64_t{1} << 63) >> w.nUsed;
  const uint64_t b1s = w.others << nMove;
  w.others = w.b1s << nMove;
  w.b1s = b1s;
  return true;
}

// Makes the steps from i on until one is not such a one. Returns that.
inline int FastSteps(Window& window, const Steps& steps, int i) {
  Window w = window;
  const int nSteps = steps.Count();
  const int nFirst = i;
  while (i < nSteps && FastStep(w, steps[i])) ++i;
  w.bBlack ^= ((i - nFirst) & 1) != 0;
  window = w;
  return i;
}

// Work for Steps::Read: none; and two steps for each look-up, so that neither the steps nor
// the look-ups wait for each other.
struct NoWork {
  void Begin() {}
  bool Step() { return true; }
  void End() {}
};

struct TwoSteps {
  Window w;
  const Steps& steps;
  int i;
  int nEnd = steps.Count() - 1;
  int nBase = 0;
  uint64_t b1s = 0;
  uint64_t others = 0;

  // The window moves with every load of bits, to where a0 was at the load before: until then
  // the reference line has come out of memory. By pairs of steps the colour stays the same.
  void Begin() {
    nBase = std::max(w.A0(), 0) & ~7;
    b1s = w.Changes(nBase, w.bBlack) & ~Window::kNoB1;
    others = w.Changes(nBase, !w.bBlack) & ~Window::kNoB1;
  }
  bool Step() {
    if (i >= nEnd || !FastStep(w, steps[i])) return false;
    ++i;
    if (!FastStep(w, steps[i])) return false;
    ++i;
    return true;
  }
  void End() { w.SlideTo(nBase, b1s, others); }
};

inline int FastStepsReading(Window& window, const Steps& steps, int i, Steps& next) {
  TwoSteps work{window, steps, i};
  next.Read(work);
  window = work.w;
  window.bBlack ^= ((work.i - i) & 1) != 0;
  return work.i;
}

inline LineResult Decode(BitReader& reader, int nWidth, const Line& reference, Line& line) {
  BitReader in = reader;
  in.Refill();
  // The first run of a line begins at its first pixel, not at the imaginary a0 before it.
  const int nUsed = in.Peek(kHorizontalBits) == kHorizontalCode ? 0 : -1;
  Window window{reinterpret_cast<const unsigned char*>(reference.pPixels),
                reinterpret_cast<unsigned char*>(line.pPixels), nWidth, 0, nUsed};
  window.LoadReference();
  std::array<Steps, 2> aSteps;
  Steps* steps = aSteps.data();
  Steps* next = steps + 1;
  in.HoldChunk();
  steps->Start(in, kModeInWhite);
  Progress progress = Progress::Goes;
  LineResult bad = LineResult::BadCode;
  int nSteps = 0;
  for (;;) {
    NoWork none;
    steps->Read(none);
    const int nCount = steps->Count();
    in = steps->End(in);
    const bool bAhead = steps->StoppedAt() == Steps::Stop::Full && in.HoldsChunk();
    if (bAhead) next->Start(in, steps->State());
    for (int i = 0; i < nCount;) {
      if (bAhead) i = FastStepsReading(window, *steps, i, *next);
      i = FastSteps(window, *steps, i);
      if (i < nCount && !window.Slide()) {
        progress = SlowStep(window, *steps, i, in);
        if (progress != Progress::Goes) break;
        ++i;
      }
    }
    nSteps += nCount;
    if (progress != Progress::Goes) break;
    if (bAhead) {
      std::swap(steps, next);
      continue;
    }
    uint8_t state = steps->State();
    if (steps->StoppedAt() == Steps::Stop::NoCode) {
      bad = NoCode(in, kUncompressedIn2D);
      progress = Progress::Bad;
    } else if (steps->StoppedAt() == Steps::Stop::Run) {
      const int a0 = window.A0();
      int nRun = 0;
      progress = TakeModeRun(in, state, nWidth - a0, nRun);
      if (progress == Progress::Goes) window.MoveTo(a0 + nRun, true);
      state = AfterRun(state);
    }
    if (progress != Progress::Goes) break;
    in.HoldChunk();
    steps->Start(in, state);
  }
  reader = in;
  if (progress == Progress::Bad) return bad;
  window.Finish(line.pPixels);
  line.nElements = nSteps;
  line.bListed = false;
  line.bDrawn = true;
  return LineResult::Complete;
}

FAX_WITH_BMI LineResult DecodeWithBmi(BitReader& reader, int nWidth, const Line& reference,
                                      Line& line) {
  return Decode(reader, nWidth, reference, line);
}

}  // namespace

LineResult DecodeDenseLine(BitReader& reader, int nWidth, const Line& reference, Line& line) {
  return HasBmi() ? DecodeWithBmi(reader, nWidth, reference, line)
                  : Decode(reader, nWidth, reference, line);
}

}  // namespace fax
