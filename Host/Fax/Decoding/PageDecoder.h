// Decoding of a page line by line: end-of-line codes, tag bits, end markers and
// what happens after damage.
#pragma once

#include "Host/Fax/Coding.h"
#include "Host/Fax/Decoding/LineDecoder.h"

namespace fax {

enum class LineStatus {
  Decoded,
  Replaced,   // Group 3: the line was damaged, the line above stands in its place
  EndOfPage,  // an end marker stands where a line should begin
  EndOfData,  // the data end before the line does
  BadCode,    // nothing to resume at
};

// How the lines decoded so far stand in the data.
struct PageLayout {
  int nEndOfLines = 0;         // lines that an EOL precedes
  int nAlignedEndOfLines = 0;  // of them, those whose EOL ends with a byte
  int nDamagedEndOfLines = 0;  // EOL codes with a wrong bit
};

class PageDecoder {
 public:
  // The lines have LineMemory(nWidth) elements and pPixels PixelMemory(nWidth) words for each
  // of them; nWidth is 1 to kMaxWidth, nHeight the lines of the page.
  PageDecoder(Coding coding, int nWidth, int nHeight, PieceSource& source, uint16_t* pLine,
              uint16_t* pNext, uint64_t* pPixels);
  PageDecoder(const PageDecoder&) = delete;
  PageDecoder& operator=(const PageDecoder&) = delete;

  // Decodes the next line. After a status other than Decoded and Replaced there
  // is none.
  LineStatus NextLine();
  // Draws the line decoded last, or the line above in place of a damaged one; a white
  // line at the end of the page.
  void Draw(uint64_t* pRow) const;
  // After the last line: takes what follows. Whether that is an end marker.
  bool TakeEndMarker();
  const PageLayout& Layout() const { return m_layout; }

 private:
  // Takes what may stand in front of a line. Decoded: a line begins.
  LineStatus StartOfLine();
  LineStatus StartOfGroup4Line();
  LineStatus Damaged();
  LineResult DecodeLine();

  const Coding m_coding;
  const int m_nWidth;
  const int m_nHeight;
  BitReader m_reader;
  Line m_line;  // becomes the reference line of the next
  Line m_next;
  int m_nRow = 0;
  int m_nEndOfLines = 0;  // lines in a row that an EOL preceded
  bool m_bOneDimensional = true;
  bool m_bResume = false;            // the next line begins at the next EOL
  bool m_bDamagedEndOfLine = false;  // the reader is at an EOL with a wrong bit
  int m_nDenseLines = 0;             // lines to be decoded as dense ones
  int m_nDenseGain = 0;              // what that would have saved, of the last lines above all
  PageLayout m_layout;
};

}  // namespace fax
