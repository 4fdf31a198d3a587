// The encoding of a document's text and names ("Code pages" of docs/format.md).
#pragma once

namespace kz {

// The code page of documents that say nothing else: EBCDIC, international.
constexpr const char* kDefaultEncoding = "cp500";

}  // namespace kz
