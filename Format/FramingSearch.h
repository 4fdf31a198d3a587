// How a file's framing is found ("Record framing" of docs/format.md).
#pragma once

#include "Format/RecordFraming.h"

namespace kz {

// The framing of a file of `size` bytes by its first ones, which are all of it or
// kFramingRoom. Without a chain of several records that are structured fields in common
// use there is none: an unframed document, a bare image and a foreign file have none, nor has
// a document that only something follows.
Framing FindFraming(ByteSpan start, int64_t size);

}  // namespace kz
