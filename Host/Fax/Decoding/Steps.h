// The codes of a dense line, read as steps ahead of those who make them.
#pragma once

#include <array>

#include "Host/Fax/Decoding/RunCodes.h"
#include "Host/Fax/Tables/DenseTables.h"

namespace fax {

inline uint64_t LoadBits(const unsigned char* p) {
  uint64_t word;
  std::memcpy(&word, p, sizeof word);
  return BigEndian64(word);
}

// The codes of some steps, which all lie in the piece.
class Steps {
 public:
  enum class Stop : uint8_t { Full, Run, NoCode };

  // Begins at the reader. The piece holds kChunkBytes from there on.
  void Start(const BitReader& reader, uint8_t state) {
    m_pBits = reader.position.pNext - (reader.nBits + 7) / 8;
    m_next = {static_cast<uint32_t>(-reader.nBits) % 8, 0, state};
    m_nGroups = 0;
    m_stop = Stop::Full;
  }
  // Reads on until there are enough steps, or up to what is none. With every look-up `work`
  // is called, which stops it, too, by returning false.
  template <typename Work>
  inline void Read(Work& work);
  // A reader at the code that the steps stop at.
  BitReader End(const BitReader& in) const { return At(in, m_next.nBit); }
  // A reader at the code of step i; for the second step of Pass mode at the mode's code, for
  // a first run after the mode's code. `state` becomes the one there.
  BitReader CodeOf(const BitReader& in, int i, uint8_t& state) const;

  int Count() const { return m_next.nSteps; }
  uint8_t operator[](int i) const { return m_aSteps[static_cast<size_t>(i)]; }
  Stop StoppedAt() const { return m_stop; }
  uint8_t State() const { return m_next.state; }

 private:
  // What one look-up began with.
  struct Group {
    uint32_t nBit;
    uint16_t nSteps;
    uint8_t state;
  };
  static constexpr int kEnough = 128;
  static constexpr int kLookUps = kBitsAtHand / kStepsBits;  // between two loads
  // Every look-up but one that ends in the code of Horizontal mode gives a step.
  static constexpr int kMaxGroups = 2 * kEnough + kLookUps;
  static_assert(kMaxGroups * kStepsBits / 8 + 16 <= static_cast<int>(kChunkBytes));

  BitReader At(const BitReader& in, uint32_t nBit) const {
    BitReader reader{0, 0, {m_pBits + nBit / 8, in.position.pLastLoad}, in.pSource};
    reader.Refill();
    reader.Skip(static_cast<int>(nBit % 8));
    return reader;
  }

  const unsigned char* m_pBits;
  Group m_next;
  int m_nGroups;
  Stop m_stop;
  std::array<uint8_t, kEnough + 5 * kLookUps + 8> m_aSteps;
  std::array<Group, kMaxGroups> m_aGroups;
};

template <typename Work>
inline void Steps::Read(Work& work) {
  uint32_t nBit = m_next.nBit;
  uint32_t nSteps = m_next.nSteps;
  uint8_t state = m_next.state;
  int nGroups = m_nGroups;
  bool bGoesOn = true;
  while (bGoesOn && nSteps < kEnough) {
    work.Begin();
    uint64_t buffer = LoadBits(m_pBits + nBit / 8) << (nBit % 8);
    for (int i = 0; i < kLookUps; ++i) {
      const StepsEntry& entry = kStepsByState[state][buffer >> (64 - kStepsBits)];
      if (entry.nBits == 0) [[unlikely]] {
        m_stop = IsRunState(state) ? Stop::Run : Stop::NoCode;
        bGoesOn = false;
        break;
      }
      m_aGroups[static_cast<size_t>(nGroups++)] = {nBit, static_cast<uint16_t>(nSteps), state};
      std::memcpy(&m_aSteps[nSteps], &entry, sizeof entry);
      nSteps += entry.nSteps;
      state = entry.state;
      nBit += entry.nBits;
      buffer <<= entry.nBits;
      if (!work.Step()) [[unlikely]] {
        bGoesOn = false;
        break;
      }
    }
    if (bGoesOn) work.End();
  }
  m_next = {nBit, static_cast<uint16_t>(nSteps), state};
  m_nGroups = nGroups;
}

inline BitReader Steps::CodeOf(const BitReader& in, int i, uint8_t& state) const {
  size_t n = static_cast<size_t>(m_nGroups - 1);
  while (m_aGroups[n].nSteps > i) --n;
  state = m_aGroups[n].state;
  BitReader reader = At(in, m_aGroups[n].nBit);
  for (int nStep = m_aGroups[n].nSteps;;) {
    if (IsRunState(state)) {
      if (nStep == i) return reader;
      TakeRun(reader, IsBlackState(state));
      ++nStep;
      state = AfterRun(state);
    } else {
      const ModeEntry& code = kModes[reader.Peek(kModeBits)];
      if (code.mode == Mode::Horizontal) {
        state = static_cast<uint8_t>(state + kFirstRunWhite);
      } else {
        const int nOfCode = code.mode == Mode::Pass ? 2 : 1;
        if (i < nStep + nOfCode) return reader;
        nStep += nOfCode;
        if (nOfCode == 1) state ^= 1;
      }
      reader.Skip(code.nBits);
    }
    reader.Refill();
  }
}

}  // namespace fax
