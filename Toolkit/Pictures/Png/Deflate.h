// Filtered rows of pictures as data of zlib's format (RFC 1950).
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Pictures/Png/FilteredRows.h"

namespace kz {

// Deflates all rows into one stream, handed out in pieces: a single one for all but the
// largest pictures. Fails with -1 and with what `write` says.
Outcome DeflateRows(FilteredRows& rows,
                    const std::function<Outcome(const void* bytes, size_t count)>& write);
// About how many bytes the data take deflated, to compare with others. 0 without memory.
size_t DeflatedSize(const std::vector<unsigned char>& bytes);

}  // namespace kz
