// The host fax library, libkzfax.so.19: raw ITU-T T.4 (Group 3), T.6 (Group 4)
// and IBM MMR coding.
#pragma once

#include <cstddef>

#include "Host/Kernel/Export.h"
#include "Host/Kernel/HostRecords.h"

// Codes of the raw data, in _LOADINFO::nFormat and as encoder codes.
constexpr int K_FAX_G3_1D = 66;     // T.4 one-dimensional (MH)
constexpr int K_FAX_G3_2D = 67;     // T.4 two-dimensional (MR)
constexpr int K_FAX_G4 = 68;        // T.6 (MMR)
constexpr int K_FAX_IBM_MMR = 117;  // T.4 two-dimensional with an infinite K

// What K_CheckRawFax says of fax data.
struct FaxCheck {
  int nRows;                // rows that K_LoadRawFax would deliver
  int nReplaced;            // of them, damaged Group 3 lines: the line above is in their place
  int nAfterMarker;         // of them, rows that an end marker in front leaves white
  int nDamagedEndOfLines;   // EOL codes that count in spite of a wrong bit
  bool bEndOfLines;         // every coded row follows an EOL
  bool bAlignedEndOfLines;  // and each of these EOLs ends with a byte
  bool bEndMarker;          // an end marker (RTC, EOFB, EOP) follows the rows
};

extern "C" {

// Decodes the raw fax data at hFile's position, read with K_RedirectedRead in
// pieces of 32 KiB, and hands each of pInfo->nHeight rows to pfnCallback, a 1 bit
// being black, in the order in which they are coded. Memory holds two rows and a
// piece, whatever the page.
//
// A row is nBytesPerLine bytes of pBitmap (never fewer than the width needs), the
// bits after the width being 0; the callback may change it. pInfo->uFlags 0x8:
// the code's bits are reversed in each byte.
//
// Group 3 may lack EOL codes, has them on byte boundaries or after fill, and
// resumes at the next EOL: a damaged line is replaced by the line above, the load
// succeeds and pDispatch->nLoadError is left at -9. Where every line has an EOL,
// one with a single wrong bit counts, and a line that none follows is damaged. An
// end marker (RTC, EOFB, EOP) before the last row fills the rest with white.
//
// Returns 1; the callback's result when that is not 1; -1 for no memory; -27 when
// nBitsPerPixel is not 1; -9 for an unknown nFormat, a width of 0 or above 0x8000
// or a height of 0 or above 0x7FFF; -7 when the data end before the last row and
// without an end marker, or can't be read; -9 for uncompressed mode and, but for
// Group 3, for a bad code or a run past the line's end, nLoadError being -62 if it
// is Group 4. Rows decoded before a failure have been delivered.
K_EXPORT int K_LoadRawFax(_LOADDISPATCH* pDispatch, tagHANDLE* hFile, _LOADINFO* pInfo,
                          void* pContext, _BITMAPHANDLE* pBitmap, K_RowCallback pfnCallback,
                          int nBitsPerPixel, void* pUserData);

// Decodes nSize bytes at pData as K_LoadRawFax would with the same pInfo, but draws no
// rows, and says in pCheck what it found. Returns what K_LoadRawFax would; nLoadError
// would be -9 where nReplaced isn't 0. After a failure pCheck counts the rows before
// and says nothing of their layout.
K_EXPORT int K_CheckRawFax(const unsigned char* pData, size_t nSize, const _LOADINFO* pInfo,
                           FaxCheck* pCheck);

// Encodes the bitmap as raw fax data of nEncoderCode (K_FAX_*) and writes it with
// K_RedirectedWrite in pieces of 32 to 64 KiB, the last one being what is left. The
// rows come from the row routines of pDispatch; a colour table whose byte 10 is
// below 0x7F says that a 0 bit is black.
//
// Group 3 has an EOL before each line and ends with RTC; two-dimensionally coded, K
// is 4. Group 4 ends with EOFB. IBM MMR has an EOL between the first line and the
// second, and ends with EOP.
//
// Returns 1; -27 when nBitsPerPixel is not 1; -9 for an unknown code or a size that
// K_LoadRawFax would refuse; -1 for no memory; -5 for a short write; the status of
// a row routine that fails. The row conversion is ended on every path.
K_EXPORT int K_SaveRawFax(_SAVEDISPATCH* pDispatch, tagHANDLE* hFile, _BITMAPHANDLE* pBitmap,
                          int nBitsPerPixel, int nEncoderCode, uint32_t uHostFlags,
                          void* pfnHostCallback, void* pHostUserData, void* pReserved1,
                          int nReserved2, void* pReserved3, void* pReserved4);

}  // extern "C"
