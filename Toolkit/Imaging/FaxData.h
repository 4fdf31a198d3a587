// Fax data in memory, through the host's fax library.
#pragma once

#include <cstddef>
#include <vector>

#include "Host/Kernel/HostRecords.h"
#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Base/Tested.h"

namespace kz {

// Decodes info.nHeight rows of the format that `info` names into a 1-bit bitmap of
// the same width, from its stored row `firstRow` on; 1 is black. Returns what
// K_LoadRawFax returns, no value above 1. *damaged tells of Group 3 lines that had
// to be replaced, *rows how many were decoded, also before a failure.
KZ_TESTED int DecodeFax(const unsigned char* data, size_t size, _LOADINFO& info, int firstRow,
                        Bitmap& bitmap, bool* damaged, int* rows = nullptr);

// The same without a bitmap: only counts the rows that are decoded.
int CountFaxRows(const unsigned char* data, size_t size, _LOADINFO& info, bool* damaged, int* rows);

// Encodes a 1-bit picture as ITU-T T.6, top row first, 1 = black.
KZ_TESTED Outcome EncodeGroup4(const Bitmap& bitmap, std::vector<unsigned char>& data);

}  // namespace kz
