// Shortening a file with nothing but the host's opens, reads and writes.
#pragma once

#include "API/Filters/Ica/Common/Ioca/Guards.h"

// Makes the first nLength bytes the whole file: reads them, opens the file anew
// cut to length zero and writes them back. The routines must be bound. Returns 1;
// -1 for no memory; -4; -7; -14 when the file can't be opened again; -5.
int CutFile(OpenedFile* file, const char* pszName, const FilterThreadState* state,
            unsigned nLength);

// Reads nCount bytes at a position into a new buffer. Returns 1, -1, -4 or -7.
int ReadInto(LocalBuffer* buffer, tagHANDLE* handle, const FilterThreadState* state, int nPosition,
             unsigned nCount);
