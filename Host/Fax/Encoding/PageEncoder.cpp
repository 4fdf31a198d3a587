#include "Host/Fax/Encoding/PageEncoder.h"

#include <utility>

#include "Host/Fax/Tables/EncodeTables.h"

namespace fax {

namespace {

constexpr int kLinesPerOneDimensionalLine = 4;  // T.4 4.2.2: the parameter K

// Whether the line is coded one-dimensionally.
bool IsOneDimensional(Coding coding, int nRow) {
  switch (coding) {
    case Coding::Group3OneDimensional:
      return true;
    case Coding::Group3TwoDimensional:
      return nRow % kLinesPerOneDimensionalLine == 0;
    case Coding::IbmMmr:
      return nRow == 0;
    case Coding::Group4:
      break;
  }
  return false;
}

}  // namespace

PageEncoder::PageEncoder(Coding coding, int nWidth, unsigned char* pMemory, uint16_t* pLine,
                         uint16_t* pReference, WritePieceRoutine pfnWrite, void* pContext)
    : m_coding(coding),
      m_nWidth(nWidth),
      m_pMemory(pMemory),
      m_pfnWrite(pfnWrite),
      m_pContext(pContext),
      m_writer{0, 0, pMemory},
      m_line(Line::White(pLine, nWidth)),
      m_reference(Line::White(pReference, nWidth)) {}

bool PageEncoder::EncodeLine(const unsigned char* pRow, uint64_t uInvert) {
  FindElements(pRow, m_nWidth, uInvert, m_line);
  const bool bOneDimensional = IsOneDimensional(m_coding, m_nRow);
  // IBM MMR has one EOL, where it switches to two-dimensional coding.
  if (IsGroup3(m_coding) || (m_coding == Coding::IbmMmr && m_nRow == 1))
    PutEndOfLine(bOneDimensional);
  if (bOneDimensional)
    EncodeOneDimensional(m_writer, m_nWidth, m_line);
  else
    EncodeTwoDimensional(m_writer, m_nWidth, m_reference, m_line);
  std::swap(m_line, m_reference);
  ++m_nRow;
  return m_writer.pNext - m_pMemory < static_cast<std::ptrdiff_t>(kPieceToWrite) || Write();
}

bool PageEncoder::Finish() {
  const int nEndOfLines = m_coding == Coding::Group4 ? kEndOfFacsimileBlock : kReturnToControl;
  for (int n = 0; n < nEndOfLines; ++n) PutEndOfLine(true);
  m_writer.Align();
  return Write();
}

void PageEncoder::PutEndOfLine(bool bOneDimensionalNext) {
  m_writer.Put(MakeCode(kEndOfLine));
  if (HasTagBits(m_coding)) m_writer.Put({bOneDimensionalNext ? 1u : 0u, 1});
  m_writer.Flush();
}

bool PageEncoder::Write() {
  const auto nBytes = static_cast<unsigned int>(m_writer.pNext - m_pMemory);
  m_writer.pNext = m_pMemory;
  return m_pfnWrite(m_pContext, m_pMemory, nBytes);
}

}  // namespace fax
