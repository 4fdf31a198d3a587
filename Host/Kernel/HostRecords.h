// Records that the host hands to its format filters and that the filters fill
// for it. They are shared by the kernel, the fax library, the filter and the
// toolkit; nothing in here has behaviour.
//
// All integers are in host byte order. Sizes are pixels, resolutions are dots
// per inch, positions are bytes from the start of the file.
#pragma once

#include <cstdint>

// Opaque handle of an open file. K_RedirectedOpen reports failure as the
// pointer value -1 (K_INVALID_HANDLE), never as null.
struct tagHANDLE;

// A block of global memory, known to the kernel by this handle and to its
// users by the pointer that WinGlobalLock gives for it.
struct KvGlobalBlock;
using HGLOBAL = KvGlobalBlock*;

struct _BITMAPHANDLE;
struct _IMAGEFILEINFO;

// View perspective: which row of the picture a bitmap stores first.
constexpr int32_t K_VIEW_TOP_DOWN = 1;
constexpr int32_t K_VIEW_BOTTOM_UP = 4;

// Colour order of 24-bit pixels.
constexpr int32_t K_ORDER_RGB = 0;
constexpr int32_t K_ORDER_BGR = 1;

// _BITMAPHANDLE::uFlags: the bitmap owns memory that K_FreeBitmap releases.
constexpr uint32_t K_BITMAP_ALLOCATED = 0x1;

// A bitmap. Rows are (nWidth * nBitsPerPixel + 31) / 32 * 4 bytes, first pixel
// in the most significant bits. 8 bits per pixel without a palette are grey.
struct _BITMAPHANDLE {
  uint32_t uStructSize;
  int32_t nWidth;
  int32_t nHeight;
  int32_t nBitsPerPixel;  // 1, 4, 8 or 24
  int32_t nBytesPerLine;
  uint32_t uFlags;
  int32_t nColors;           // palette entries in use
  unsigned char* pPalette;   // locked global memory block: red, green, blue, 0 per entry
  int32_t nViewPerspective;  // K_VIEW_*
  int32_t nColorOrder;       // K_ORDER_*
  int32_t nXResolution;
  int32_t nYResolution;
  // From here on the record is the kernel's own.
  unsigned char* pRows;  // nHeight rows of nRowBytes bytes, in stored order
  int32_t nRowBytes;     // what a row was made with: loading may change nBytesPerLine
  int32_t nAccess;       // accesses granted and not yet released
};

// _LOADINFO::uFlags, the raw-data flags.
constexpr uint32_t K_RAW_TOP_DOWN = 0x1;
constexpr uint32_t K_RAW_RGB_ORDER = 0x2;
constexpr uint32_t K_RAW_IDE_FLAG = 0x4;
constexpr uint32_t K_RAW_REVERSED_BITS = 0x8;
constexpr uint32_t K_RAW_FLAG_800 = 0x800;
constexpr uint32_t K_RAW_PALETTE = 0x1000;

// Description of raw image data: what a decoder must know and the data itself
// does not say.
struct _LOADINFO {
  uint32_t uReserved;
  uint32_t nFormat;
  uint32_t nWidth;
  uint32_t nHeight;
  uint32_t nBitsPerPixel;
  uint32_t nXResolution;
  uint32_t nYResolution;
  uint64_t nDataOffset;
  uint32_t uFlags;
  unsigned char aPalette[256][4];
};

// _IMAGEFILEINFO::uFlags.
constexpr uint32_t K_FILEINFO_DESCRIBED = 0x40;       // fltInfo has filled the record
constexpr uint32_t K_FILEINFO_FORMAT_KNOWN = 0x1000;  // nFormat says what a memory block holds

// What a filter says of one page of a file.
struct _IMAGEFILEINFO {
  uint32_t uStructSize;
  uint32_t nFormat;
  uint32_t nWidth;
  uint32_t nHeight;
  uint32_t nBitsPerPixel;
  uint64_t uSizeMem;  // bytes of the uncompressed image, rows padded to whole bytes
  char szCompression[20];
  uint32_t nViewPerspective;
  uint32_t nColorOrder;
  uint32_t nPageNumber;
  uint32_t nTotalPages;
  uint32_t nXResolution;
  uint32_t nYResolution;
  uint32_t uFlags;
};

// Options of a load, information or comment call.
struct _LOADOPTIONS {
  uint32_t uStructSize;
  int32_t nXResolution;  // defaults, used where the file has none
  int32_t nYResolution;
  int32_t nReserved;
  int32_t nPageNumber;  // counted from 1
};

// _INFOOPTIONS::uFlags: count the pages of the whole file.
constexpr uint32_t K_INFO_TOTAL_PAGES = 0x1;

struct _INFOOPTIONS {
  uint32_t uFlags;
};

// Argument of fltInfo.
struct _INFODISPATCH {
  tagHANDLE* hFile;
  _IMAGEFILEINFO* pFileInfo;
  _INFOOPTIONS* pInfoOptions;  // may be null
  _LOADOPTIONS* pLoadOptions;
};

// Flags of a row handed to a row callback.
constexpr uint32_t K_ROW_ALWAYS = 0x1 | 0x2;
constexpr uint32_t K_ROW_FIRST = 0x4;
constexpr uint32_t K_ROW_LAST = 0x8;

// Takes nRows rows that start at nRow (from 0, in stored order). `pBitmap` is
// the bitmap whose layout the rows have: the target, or a temporary bitmap. A
// load that starts over delivers K_ROW_FIRST again. Returns 1 to go on; any
// other value ends the load and is what the load returns.
using K_RowCallback = int (*)(void* pContext, _BITMAPHANDLE* pBitmap, unsigned char* pRows,
                              uint32_t uFlags, int nRow, int nRows, void* pUserData);

// Fills `pInfo` for raw data that a memory loader does not recognise; 1 = filled.
using K_LoadInfoCallback = int (*)(int nReserved, _LOADINFO* pInfo, void* pUserData);

// Installs a load-info callback for the calling thread, null for none. Returns
// the one that was in force.
using K_SetLoadInfoCallbackRoutine = K_LoadInfoCallback (*)(K_LoadInfoCallback pfnCallback,
                                                            void* pUserData);

// Loads a picture from memory into a new bitmap. `nBitsPerPixel` and
// `nColorOrder` say what the bitmap shall have. Returns 1, or a negative status
// with no bitmap made.
using K_LoadMemoryRoutine = int (*)(unsigned char* pData, _BITMAPHANDLE* pBitmap,
                                    uint32_t uStructSize, int nBitsPerPixel, int nColorOrder,
                                    uint64_t nSize, void* pReserved, _IMAGEFILEINFO* pFileInfo);

// Argument of fltLoad.
struct _LOADDISPATCH {
  const char* pszFileName;
  _BITMAPHANDLE* pBitmap;  // the target, set up by the host
  K_RowCallback pfnCallback;
  void* pUserData;
  void* pContext;
  _LOADOPTIONS* pLoadOptions;
  int32_t nLoadError;
  K_LoadMemoryRoutine pfnLoadMemory;
  K_SetLoadInfoCallbackRoutine pfnSetLoadInfoCallback;
};

// _SAVEOPTIONS::uFlags.
constexpr uint32_t K_SAVE_REPLACE_PAGE = 0x400;
constexpr uint32_t K_SAVE_INSERT_PAGE = 0x800;

struct _SAVEOPTIONS {
  uint32_t uFlags;
  int32_t nPageNumber;  // 1: first page of a new document; other values append
};

struct _SAVEDISPATCH;

// The row routines of a save. All return a value above 0 on success, else the
// failure status.
//
// Begins the conversion of a bitmap's rows to nBitsPerPixel: gives a context, a
// row buffer (at least the bitmap's nBytesPerLine bytes and at least one
// converted row) and a colour table. The colour table has eight header bytes,
// then palette entries of four bytes (red, green, blue, 0), so that byte 10 is
// the blue of entry 0.
using K_BeginRowsRoutine = int (*)(_BITMAPHANDLE* pBitmap, void** ppContext, int nBitsPerPixel,
                                   uint32_t* puHostFlags, unsigned char** ppRow, int nReserved,
                                   void* pfnHostCallback, void* pHostUserData,
                                   unsigned char** ppColorTable);
// Ends it and sets what was given to null. Harmless after a failed begin.
using K_EndRowsRoutine = int (*)(_BITMAPHANDLE* pBitmap, void** ppContext, uint32_t* puHostFlags,
                                 unsigned char** ppRow, unsigned char** ppColorTable);
// Puts row nRow of the picture (0 = the top one, whatever the view perspective)
// into the row buffer, converted.
using K_GetRowRoutine = int (*)(_BITMAPHANDLE* pBitmap, void* pContext, unsigned char* pRow,
                                int nRow, int nReserved, uint32_t uHostFlags, void* pfnHostCallback,
                                void* pHostUserData, unsigned char* pColorTable);

// Saves a bitmap in the host format nFormat into a new global memory block.
// Returns 1 and the block with its size, else a status and no block.
using K_SaveToMemoryRoutine = int (*)(HGLOBAL* phBlock, _BITMAPHANDLE* pBitmap, int nFormat,
                                      int nBitsPerPixel, int nQFactor, uint64_t* pnSize,
                                      void* pReserved);

// Argument of fltSave.
struct _SAVEDISPATCH {
  const char* pszFileName;
  _BITMAPHANDLE* pBitmap;
  int32_t nBitsPerPixel;  // depth to write
  int32_t nFormat;        // replaced by the encoder code during the save
  uint32_t uHostFlags;
  void* pfnHostCallback;
  void* pHostUserData;
  int32_t nQFactor;  // JPEG: 2 = best, 255 = smallest
  _SAVEOPTIONS* pSaveOptions;
  K_BeginRowsRoutine pfnBeginRows;
  K_EndRowsRoutine pfnEndRows;
  K_GetRowRoutine pfnGetRow;
  K_SaveToMemoryRoutine pfnSaveToMemory;
};

// Argument of fltDeletePage.
struct _DELETEDISPATCH {
  const char* pszFileName;
};

// Argument of fltComment.
struct _COMMENTDISPATCH {
  const char* pszFileName;
  unsigned char* pBuffer;
  uint32_t uBufferSize;
  _LOADOPTIONS* pLoadOptions;
  _IMAGEFILEINFO* pFileInfo;
};
