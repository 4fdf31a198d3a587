// Encoding of a page line by line: end-of-line codes, tag bits and end markers.
#pragma once

#include "Host/Fax/Coding.h"
#include "Host/Fax/Encoding/LineEncoder.h"

namespace fax {

// Takes nCount bytes of coded data. False ends the encoding.
using WritePieceRoutine = bool (*)(void* pContext, const unsigned char* pBytes,
                                   unsigned int nCount);

// What is gathered before it is written; pieces are longer by less than a line.
constexpr size_t kPieceToWrite = size_t{32} * 1024;
// Bytes of memory for the gathered data of lines of nWidth pixels.
constexpr size_t PageEncoderMemory(int nWidth) { return kPieceToWrite + MaxLineBytes(nWidth); }

class PageEncoder {
 public:
  // `pMemory` has PageEncoderMemory(nWidth) bytes, pLine and pReference have
  // LineMemory(nWidth) elements. nWidth is 1 to kMaxWidth.
  PageEncoder(Coding coding, int nWidth, unsigned char* pMemory, uint16_t* pLine,
              uint16_t* pReference, WritePieceRoutine pfnWrite, void* pContext);
  PageEncoder(const PageEncoder&) = delete;
  PageEncoder& operator=(const PageEncoder&) = delete;

  // Encodes the next line; see FindElements for its pixels. False when the data
  // could not be written.
  bool EncodeLine(const unsigned char* pRow, uint64_t uInvert);
  // Ends the page with its marker and writes what is left.
  bool Finish();

 private:
  // Adds an EOL, with the tag bit where lines carry one.
  void PutEndOfLine(bool bOneDimensionalNext);
  bool Write();

  const Coding m_coding;
  const int m_nWidth;
  unsigned char* const m_pMemory;
  const WritePieceRoutine m_pfnWrite;
  void* const m_pContext;
  BitWriter m_writer;
  Line m_line;
  Line m_reference;
  int m_nRow = 0;
};

}  // namespace fax
