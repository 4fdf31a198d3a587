// The host kernel, libkvkrn.so.19: per-thread data, redirected files, memory
// and bitmaps.
#pragma once

#include <pthread.h>

#include <cstddef>
#include <cstdint>

#include "Host/Kernel/Export.h"
#include "Host/Kernel/HostRecords.h"
#include "Host/Kernel/Status.h"

extern "C" {

// --- Per-thread data -------------------------------------------------------

// The calling thread's record under *puKey. The first call of all makes the key
// (0 means none yet), a thread's first call makes its record with pfnCreate and
// arranges that pfnDestroy runs on it at the thread's end. `mutex` is a copy of
// the filter's and orders nothing; a lock of the kernel's own does. Returns null
// when no key or record can be made.
K_EXPORT void* K_MyGetThreadData(uint32_t* puKey, void* (*pfnCreate)(), void (*pfnDestroy)(void*),
                                 // NOLINTNEXTLINE(cert-fio38-c): the copy is never locked
                                 pthread_mutex_t mutex);

// --- Redirected files ------------------------------------------------------
//
// Every thread has five routines in force: open, read, write, seek and close.
// The K_Redirected functions call them with their user data. A fresh thread
// has the kernel's own buffered file routines.

using K_OpenRoutine = tagHANDLE* (*)(const char* pszName, int nFlags, int nMode, void* pUserData);
// Read and write return the bytes moved: fewer than nCount at the end of the
// file or on failure, -1 when a failure moved none.
using K_ReadRoutine = int (*)(tagHANDLE* hFile, unsigned char* pBuffer, unsigned int nCount,
                              void* pUserData);
using K_WriteRoutine = int (*)(tagHANDLE* hFile, unsigned char* pBuffer, unsigned int nCount,
                               void* pUserData);
// Returns the new position; -1 when it would be negative or above 2^31 - 1, and
// then nothing has moved.
using K_SeekRoutine = int (*)(tagHANDLE* hFile, int nOffset, int nOrigin, void* pUserData);
// Returns 1; a negative status when bytes written before could not be stored.
using K_CloseRoutine = int (*)(tagHANDLE* hFile, void* pUserData);

// Open flags, and the mode values, which are no permission bits: a created file
// gets 0666 less the umask.
constexpr int K_OPEN_READ = 0x0;
constexpr int K_OPEN_UPDATE = 0x2;
constexpr int K_OPEN_CREATE = 0x40;
constexpr int K_OPEN_TRUNCATE = 0x200;
constexpr int K_MODE_WRITABLE = 0x80;
constexpr int K_MODE_READABLE = 0x100;

constexpr int K_SEEK_START = 0;
constexpr int K_SEEK_CURRENT = 1;
constexpr int K_SEEK_END = 2;

inline tagHANDLE* K_InvalidHandle() {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the value is the host's interface
  return reinterpret_cast<tagHANDLE*>(static_cast<intptr_t>(-1));
}

// Opens a file; K_InvalidHandle() when that fails (errno says why).
K_EXPORT tagHANDLE* K_RedirectedOpen(const char* pszName, int nFlags, int nMode);
// Bytes read; see K_ReadRoutine.
K_EXPORT int K_RedirectedRead(tagHANDLE* hFile, void* pBuffer, unsigned int nCount);
// Bytes written; see K_WriteRoutine.
K_EXPORT int K_RedirectedWrite(tagHANDLE* hFile, const void* pBuffer, unsigned int nCount);
// New position or -1; see K_SeekRoutine. Past the end is allowed.
K_EXPORT int K_RedirectedSeek(tagHANDLE* hFile, int nOffset, int nOrigin);
// 1, or a negative status; the handle is gone in any case.
K_EXPORT int K_RedirectedClose(tagHANDLE* hFile);

// Exchanges the calling thread's routines. A null slot pointer leaves its
// direction alone. A slot that holds null on entry is told the routine in force,
// which stays; a slot that holds a routine puts it in force and is given the
// former one. User data that is null leaves that direction's user data as it was.
K_EXPORT void K_FilterIO(K_OpenRoutine* pfnOpen, K_ReadRoutine* pfnRead, K_WriteRoutine* pfnWrite,
                         K_SeekRoutine* pfnSeek, K_CloseRoutine* pfnClose, void* pOpenUserData,
                         void* pReadUserData, void* pWriteUserData, void* pSeekUserData,
                         void* pCloseUserData);
// Stores the user data in force for each direction whose slot is not null.
K_EXPORT void K_GetFilterIOData(void** ppOpen, void** ppRead, void** ppWrite, void** ppSeek,
                                void** ppClose);

// --- Memory ----------------------------------------------------------------
//
// nLine and pszSource say which call made a block. This kernel counts the live
// blocks and keeps no more of them.

// nSize * nCount bytes: null on overflow or when out of memory, a valid block
// for size 0.
K_EXPORT void* K_LocalAlloc(size_t nSize, size_t nCount, int nLine, const char* pszSource);
// The same, zero-filled.
K_EXPORT void* K_LocalAllocInit(size_t nSize, size_t nCount, int nLine, const char* pszSource);
// Grows or shrinks a block (null: a new one). Null on failure, the old block
// then staying as it was.
K_EXPORT void* K_LocalRealloc(void* pBlock, size_t nSize, int nLine, const char* pszSource);
// Null is ignored.
K_EXPORT void K_LocalFree(void* pBlock, int nLine, const char* pszSource);
K_EXPORT void K_MemorySet(void* pMemory, int nValue, size_t nCount);
K_EXPORT void K_MemoryCopy(void* pTo, const void* pFrom, size_t nCount);
// <0, 0 or >0; ASCII letters compare equal in either case.
K_EXPORT int _memicmp(const void* pLeft, const void* pRight, size_t nCount);

// Global memory: blocks that one library makes and another frees. A block knows
// its size, its handle and its pointer.
K_EXPORT HGLOBAL WinGlobalAlloc(unsigned int uFlags, size_t nSize);  // null when out of memory
K_EXPORT void* WinGlobalLock(HGLOBAL hBlock);                        // null for null
K_EXPORT int WinGlobalUnlock(HGLOBAL hBlock);                        // locks still held
K_EXPORT HGLOBAL WinGlobalHandle(const void* pBlock);                // null for null
K_EXPORT size_t WinGlobalSize(HGLOBAL hBlock);
K_EXPORT HGLOBAL WinGlobalFree(HGLOBAL hBlock);  // null; null is ignored
// Frees the global block of a locked pointer; null is ignored.
K_EXPORT void K_GlobalFree(void* pBlock, int nLine, const char* pszSource);
// Records a block with the resource tracking (kind 3: global memory).
K_EXPORT int K_ResourceAdd(int nKind, HGLOBAL hBlock, int nLine, const char* pszSource);
// Frees a recorded block and drops it from the tracking.
K_EXPORT void K_OsFreeHandle(HGLOBAL hBlock, int nLine, const char* pszSource);

// --- Bitmaps ---------------------------------------------------------------

// Bytes of one bitmap row: (nWidth * nBitsPerPixel + 31) / 32 * 4; -1 when the
// width is not positive, the depth is not 1, 4, 8 or 24, or it does not fit.
K_EXPORT int K_BitmapBytesPerLine(int nWidth, int nBitsPerPixel);
// Makes a bitmap with all rows zero, no palette, the colour order given.
// Returns 1, -27 for a depth it can't have, -9 for a size it can't have, -1 for
// no memory; the record is cleared on failure.
K_EXPORT int K_CreateBitmap(_BITMAPHANDLE* pBitmap, uint32_t uStructSize, int nWidth, int nHeight,
                            int nBitsPerPixel, int nColorOrder, int nViewPerspective);
// Releases rows and palette and clears the record; null is ignored.
K_EXPORT void K_FreeBitmap(_BITMAPHANDLE* pBitmap);
// Access to the rows must be held while they are read or written. Returns 1, or
// -1 when the bitmap has no rows.
K_EXPORT int K_IntAccessBitmap(_BITMAPHANDLE* pBitmap, int bWrite);
// Gives it back; nStatus is what the access came to. Returns 1.
K_EXPORT int K_IntReleaseBitmap(_BITMAPHANDLE* pBitmap, int bRead, int nStatus);
// Copies nBytes (at most one row) of stored row nRow. Returns the bytes copied,
// or -9 for a row outside the bitmap, -1 for a bitmap without rows.
K_EXPORT int K_GetBitmapRow(_BITMAPHANDLE* pBitmap, unsigned char* pRow, int nRow, size_t nBytes);
K_EXPORT int K_PutBitmapRow(_BITMAPHANDLE* pBitmap, const unsigned char* pRow, int nRow,
                            size_t nBytes);
// Gives the bitmap a copy of nColors four-byte entries as its palette. Returns 1
// or -1; on failure the old palette stays.
K_EXPORT int K_SetBitmapNewPalette(_BITMAPHANDLE* pBitmap, const unsigned char* pEntries,
                                   int nColors);
// Gives the bitmap a palette of nColors grey entries from black to white.
// Returns 1 or -1.
K_EXPORT int K_CreateBitmapGrayPalette(_BITMAPHANDLE* pBitmap);
// Stores the rows of pBitmap in the order of nViewPerspective (1 or 4); with a
// non-null pCopy the changed picture goes there and pBitmap stays. Returns 1, -9
// for other perspectives, -1 for no memory.
K_EXPORT int K_ChangeBitmapViewPerspective(_BITMAPHANDLE* pCopy, _BITMAPHANDLE* pBitmap,
                                           uint32_t uStructSize, int nViewPerspective);

}  // extern "C"
