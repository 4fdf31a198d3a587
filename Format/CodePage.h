// Code pages: the encodings of a document's text and names ("Code pages" of
// docs/format.md).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Format/DefaultEncoding.h"

namespace kz {

// The name by which iconv knows a code page, or a coded character set of the same
// number; null for one that isn't known.
const char* EncodingOfCodePage(unsigned codePage);
// The encoding that the resource name of a code page stands for, in ASCII: "T1V10500"
// is code page 500. Null for other names.
const char* EncodingOfResource(std::string_view name);

// A character of ASCII in code page 500; a question mark for what isn't a printable
// one.
unsigned char EbcdicOf(char ascii);
// A name of a resource in ASCII without the blanks or zeros at its end, be it in code page
// 500, as names should be, in ASCII or in UTF-16BE. What is no printable character of
// ASCII becomes a question mark.
std::string ResourceName(std::string_view bytes);

}  // namespace kz
