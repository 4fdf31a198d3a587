#include "Host/Fax/Decoding/PageDecoder.h"

#include <algorithm>
#include <utility>

#include "Host/Fax/Decoding/DenseDecoder.h"
#include "Host/Fax/Tables/CodeTables.h"

namespace fax {

namespace {

// What a line cost that was decoded to a list, and would have cost as a dense one: cycles, as
// measured. A change to single codes is mostly one that the processor didn't guess.
int ListCost(const Line& line) {
  return 10 * line.nVectors + 34 * line.nTurns + 12 * line.nRepeats;
}
// Every element of either line costs a step or two.
int DenseCost(const Line& line, const Line& reference, int nWidth) {
  return 10 * std::max(line.nElements, reference.nElements) + nWidth / 2;
}
// So many lines are taken as dense before one is decoded to a list to see what that costs. An
// odd number, since screens often have two kinds of line that alternate.
constexpr int kDenseLines = 61;

bool AtEndOfLineCode(const BitReader& in) { return in.Peek(kEndOfLineZeros) == 0; }

// Whether the next bits are an EOL with one wrong bit.
bool AtDamagedEndOfLineCode(const BitReader& in) {
  return std::has_single_bit(in.Peek(kEndOfLineBits) ^ CodeValue(kEndOfLine));
}

// Takes zeros up to the next 1 bit. False when the data end first.
bool SkipZeros(BitReader& in) {
  while (in.Peek(32) == 0) {
    in.Skip(32);
    in.Refill();
    if (in.BitsLeft() <= 0) return false;
  }
  in.Skip(std::countl_zero(in.buffer));
  in.Refill();
  return true;
}

// Takes bits up to the zeros of the next EOL. False when the data end first.
bool SkipToEndOfLineCode(BitReader& in) {
  in.Refill();
  while (!AtEndOfLineCode(in)) {
    in.Skip(std::countl_zero(in.buffer) + 1);
    in.Refill();
  }
  return in.BitsLeft() > kEndOfLineZeros;
}

}  // namespace

PageDecoder::PageDecoder(Coding coding, int nWidth, int nHeight, PieceSource& source,
                         uint16_t* pLine, uint16_t* pNext, uint64_t* pPixels)
    : m_coding(coding),
      m_nWidth(nWidth),
      m_nHeight(nHeight),
      m_reader(source.Start()),
      m_line(Line::White(pLine, pPixels, nWidth)),
      m_next(Line::White(pNext, pPixels + PixelMemory(nWidth), nWidth)) {}

void PageDecoder::Draw(uint64_t* pRow) const {
  if (m_line.bDrawn)
    std::copy_n(m_line.pPixels, RowWords(m_nWidth), pRow);
  else
    DrawLine(m_line, m_nWidth, pRow);
}

LineStatus PageDecoder::StartOfGroup4Line() {
  m_bOneDimensional = false;
  m_reader.Refill();
  static_assert(kEndOfFacsimileBlock == 2);
  constexpr uint32_t kMarker = CodeValue(kEndOfLine) << kEndOfLineBits | CodeValue(kEndOfLine);
  if (m_reader.Peek(2 * kEndOfLineBits) == kMarker) return LineStatus::EndOfPage;
  return LineStatus::Decoded;
}

LineStatus PageDecoder::StartOfLine() {
  BitReader& in = m_reader;
  if (m_bResume && !SkipToEndOfLineCode(in)) return LineStatus::EndOfData;
  m_bResume = false;
  // Without an EOL there is no tag bit: the first line is one-dimensional then,
  // the others two-dimensional.
  m_bOneDimensional = m_nRow == 0 || m_coding == Coding::Group3OneDimensional;
  in.Refill();
  int nEndOfLines = 0;
  bool bAligned = false;
  while (AtEndOfLineCode(in) || m_bDamagedEndOfLine) {
    if (m_bDamagedEndOfLine)
      in.Skip(kEndOfLineZeros);
    else if (!SkipZeros(in))
      return nEndOfLines > 1 ? LineStatus::EndOfPage : LineStatus::EndOfData;
    m_layout.nDamagedEndOfLines += static_cast<int>(m_bDamagedEndOfLine);
    m_bDamagedEndOfLine = false;
    in.Skip(1);
    bAligned = in.AtByte();
    if (HasTagBits(m_coding)) {
      m_bOneDimensional = in.Peek(1) == 1;
      in.Skip(1);
    }
    in.Refill();
    if (++nEndOfLines == kReturnToControl) return LineStatus::EndOfPage;
  }
  m_nEndOfLines = nEndOfLines > 0 ? m_nEndOfLines + 1 : 0;
  m_layout.nEndOfLines += static_cast<int>(nEndOfLines > 0);
  m_layout.nAlignedEndOfLines += static_cast<int>(bAligned);
  return LineStatus::Decoded;
}

LineResult PageDecoder::DecodeLine() {
  if (m_bOneDimensional) {
    // Unless the next line wants a list.
    return m_coding == Coding::Group3OneDimensional || m_nDenseLines > 0
               ? DrawOneDimensional(m_reader, m_nWidth, m_next)
               : DecodeOneDimensional(m_reader, m_nWidth, m_next);
  }
  if (m_nDenseLines > 0) {
    --m_nDenseLines;
    if (!m_line.bDrawn) DrawLine(m_line, m_nWidth, m_line.pPixels);
    m_line.bDrawn = true;
    return DecodeDenseLine(m_reader, m_nWidth, m_line, m_next);
  }
  if (!m_line.bListed) ListLine(m_line, m_nWidth);
  const LineResult result = DecodeTwoDimensional(m_reader, m_nWidth, m_line, m_next);
  // What goes on for long counts for little, so that a change of the picture is seen at once.
  m_nDenseGain += ListCost(m_next) - DenseCost(m_next, m_line, m_nWidth) - m_nDenseGain / 8;
  m_nDenseGain = std::min(m_nDenseGain, m_nWidth);
  if (m_nDenseGain > 0) m_nDenseLines = kDenseLines;
  return result;
}

LineStatus PageDecoder::NextLine() {
  const LineStatus start = m_coding == Coding::Group4 ? StartOfGroup4Line() : StartOfLine();
  if (start == LineStatus::EndOfPage) m_line.End(m_line.pElements, m_nWidth);
  if (start != LineStatus::Decoded) return start;

  const LineResult result = DecodeLine();
  ++m_nRow;
  if (result == LineResult::Uncompressed) return LineStatus::BadCode;
  if (result == LineResult::BadCode) {
    if (m_reader.BitsLeft() < kLongestCode) return LineStatus::EndOfData;
    return Damaged();
  }
  m_reader.Refill();
  if (m_reader.BitsLeft() < 0) return LineStatus::EndOfData;
  // Where EOL codes keep the lines apart, one that none follows has lost its way.
  if (IsGroup3(m_coding) && m_nEndOfLines > 1 && m_nRow < m_nHeight && !AtEndOfLineCode(m_reader)) {
    m_bDamagedEndOfLine = AtDamagedEndOfLineCode(m_reader);
    if (!m_bDamagedEndOfLine) return Damaged();
  }
  std::swap(m_line, m_next);
  return LineStatus::Decoded;
}

bool PageDecoder::TakeEndMarker() {
  const LineStatus status = m_coding == Coding::Group4 ? StartOfGroup4Line() : StartOfLine();
  return status == LineStatus::EndOfPage;
}

LineStatus PageDecoder::Damaged() {
  if (!IsGroup3(m_coding)) return LineStatus::BadCode;
  m_bResume = true;
  return LineStatus::Replaced;
}

}  // namespace fax
