// Shortening a file with nothing but the host's opens, reads and writes.
#pragma once

#include "API/Filters/Ica/Common/Ioca/Guards.h"

// Removes the bytes from nFrom to nTo: reads the file, opens it anew cut to length
// zero and writes the rest. The routines must be bound. Returns 1; -1 for no memory,
// -4, -7 or -14 when the file can't be opened again, the file being as it was; -5,
// when the old content has been written back if that was possible.
int CutFile(OpenedFile* file, const char* pszName, const FilterThreadState* state, int nFrom,
            int nTo);

// The same for what lies between nFrom, where a page has been written up to its End
// Page field without data, and the field at nTo. The page reaches there first, with
// fields that readers pass over: a failure to cut the file leaves it whole.
int CutAfterPage(OpenedFile* file, const char* pszName, const FilterThreadState* state, int nFrom,
                 int nTo);

// Reads nCount bytes at a position into a new buffer. Returns 1, -1, -4 or -7.
int ReadInto(LocalBlock* buffer, tagHANDLE* handle, const FilterThreadState* state, int nPosition,
             unsigned nCount);
