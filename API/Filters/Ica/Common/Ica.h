// The filter for image files of the IOCA and MO:DCA family, libkzica.so.19: its
// entry points, its records, and the host records that it reads.
//
// A MO:DCA document is a sequence of structured fields, each optionally preceded
// by the carriage-control byte 0x5A; its pages hold image objects, whose image
// segment lies in Image Picture Data fields. A bare IOCA file is nothing but one
// image segment. An image segment is a sequence of self-defining fields. All
// numbers in a file are big-endian, all numbers in these records are native.
#pragma once

#include <cstdint>

#include "Host/Kernel/Export.h"
#include "Host/Kernel/HostRecords.h"
#include "Host/Kernel/Kernel.h"
#include "Host/Kernel/Status.h"

// The tag of the filter's allocations, but for those of the per-thread state.
constexpr const char* KZICA_SOURCE = "API/Filters/Ica/Common/Ioca";

#pragma pack(push, 1)

// One structured field introducer as read. The first eight bytes are one raw
// read of the file.
struct _SFI {
  uint16_t wLength;
  unsigned char bClass;
  uint16_t wTypeCategory;
  unsigned char bFlags;
  unsigned char abReserved[2];
  unsigned char bExtLength;  // counts itself; 0 without an extension
  unsigned char abExtension[256];
};
static_assert(sizeof(_SFI) == 265);

// One structured field to be written. From wLength on it is the field's image on
// file, but for the 16-bit numbers that WriteMODCA_SDF converts.
struct _MODCA_SDF {
  uint16_t wCode;   // same as wTypeCategory; selects the conversions
  uint16_t wCount;  // bytes to write from wLength on
  uint16_t wLength;
  unsigned char bClass;
  uint16_t wTypeCategory;
  unsigned char bFlags;
  unsigned char abReserved[2];
  unsigned char abData[56];
};
static_assert(sizeof(_MODCA_SDF) == 68);

// One self-defining field in native form.
struct _ICA_SDF {
  uint16_t wId;
  uint16_t wLength;  // Image Data: the data bytes that follow in the stream
  union {
    unsigned char abParam[9];  // bytes beyond the length are 0 after a read
    uint32_t dwSegmentName;    // Begin Segment
    struct {
      unsigned char bUnitBase;
      uint16_t wHResolution;
      uint16_t wVResolution;
      uint16_t wHSize;
      uint16_t wVSize;
    };  // Image Size
  };
};
static_assert(sizeof(_ICA_SDF) == 13);

#pragma pack(pop)

// Where the length bytes of structured fields lie whose length begins with 0x5A and
// which had a 0x5A before them: the byte there is no such prefix when they are read
// again. Without a prefix no field of such a length is ever read. 0 is none.
struct PassedPrefixes {
  tagHANDLE* hFile;
  int32_t nRead;        // of the field last read
  int32_t anFound[16];  // of those sought back to last, for whoever keeps positions
  uint32_t nNext;       // index of the next one found, before wrapping round
};

// What a thread's calls of the filter share.
struct FilterThreadState {
  uint32_t nMaxSegmentData;  // data bytes of a written Image Data field
  uint32_t nSegmentStart;    // where the headers of the field being written begin
  uint32_t nSegmentRoom;     // bytes free in it; 0: a header comes first
  uint32_t bWriteIPD;        // each Image Data field gets its own Image Picture Data field
  uint32_t bWriteCC;         // 0x5A goes before each structured field
  _SFI sfiRead;              // the Image Picture Data field being read
  uint32_t nIPDLeft;         // its data bytes not yet delivered
  _ICA_SDF sdfRead;          // the self-defining field last read by the image data readers
  uint32_t nImageDataLeft;   // its data bytes not yet delivered
  uint32_t bReadIPD;         // the segment lies in Image Picture Data fields
  uint32_t bReadCC;          // a field with 0x5A has been read
  uint32_t nImageDataRead;   // bytes of the ReadIMG call that met the end of the image data
  K_ReadRoutine pfnRead;
  K_WriteRoutine pfnWrite;
  void* pReadUserData;
  void* pWriteUserData;
  PassedPrefixes passed;  // of the file being read
};

// The load-info callback's user data: raw image data that the host can't
// recognise.
struct _RAWDATAINFO {
  uint32_t nFormat;
  uint32_t nWidth;
  uint32_t nHeight;
  uint32_t nBitsPerPixel;
  uint32_t nViewPerspective;
  uint32_t nColorOrder;
  uint32_t nReserved;
  uint32_t bFlag800;
  uint32_t bReverseBits;
};

// The comment reader's state for one call.
struct PTOKADECODERSTATE {
  tagHANDLE* hFile;  // K_InvalidHandle() when not open
  _SFI sfiCur;
  uint32_t nPageNumber;
  unsigned char* pTextData;  // data of the current Presentation Text field, or null
  uint32_t nTextDataLen;
};

// An entry of aFilters: a library that the filter loads on demand and the status
// of a load that can't find it.
struct FilterLibrary {
  const char* pszFileName;
  int32_t nError;
};

extern "C" {

// Describes a page of an open file. Returns 1, or the status of the failure, the
// file information then being untouched but for nFormat when the format has no
// name.
K_EXPORT int fltInfo(_INFODISPATCH* pDispatch);
// Decodes a page of a file and hands its rows to the row callback. Returns 1, the
// callback's result when it stops the load, or a negative status.
K_EXPORT int fltLoad(_LOADDISPATCH* pDispatch);
// Saves a bitmap as a new file, an appended page, the page after page 1
// (K_SAVE_INSERT_PAGE) or the new page 2 (K_SAVE_REPLACE_PAGE). Returns 1 or a
// negative status.
K_EXPORT int fltSave(_SAVEDISPATCH* pDispatch);
// Removes the second page of a document. Returns 1 or a negative status.
K_EXPORT int fltDeletePage(_DELETEDISPATCH* pDispatch);
// Stores the presentation text from a page on. Returns 1 or a negative status.
K_EXPORT int fltComment(_COMMENTDISPATCH* pDispatch);

// The line end of a comment: CR LF.
K_EXPORT extern const char aCrLf[];
// The codec library, one entry and no end marker.
K_EXPORT extern const FilterLibrary aFilters[1];

}  // extern "C"
