// Shortening a file with nothing but the host's opens, reads and writes.
#pragma once

#include "API/Filters/Ica/Common/Ioca/OpenedFile.h"
#include "Host/Kernel/LocalBlock.h"

// The bytes of a file from one position to another.
struct FilePart {
  int from = 0;
  int to = 0;
};

// Removes a part: reads the file, opens it anew cut to length zero and writes the rest.
// The routines must be bound. Returns 1; -1 for no memory, -4, -7 or -14 when the file
// can't be opened again, the file being as it was; -5, when the old content has been
// written back if that was possible.
int CutFile(OpenedFile* file, const char* pszName, const FilterThreadState* state,
            const FilePart& part);

// The same for what lies between a page, which has been written up to its End Page field
// without data, and the field after the part. The page reaches there first, with fields
// that readers pass over: a failure to cut the file leaves it whole.
int CutAfterPage(OpenedFile* file, const char* pszName, const FilterThreadState* state,
                 const FilePart& part);

// Reads nCount bytes at a position into a new buffer. Returns 1, -1, -4 or -7.
int ReadInto(LocalBlock* buffer, tagHANDLE* handle, const FilterThreadState* state, int nPosition,
             unsigned nCount);
