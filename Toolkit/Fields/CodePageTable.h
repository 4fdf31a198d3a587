// A code page that a document brings along for one of its fonts.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "Toolkit/Fields/TextDecoder.h"

namespace kz {

class CodePageTable {
 public:
  // Takes the data of the fields between Begin and End Code Page: of Code Page
  // Descriptor, Control and Index. Others, and entries that are cut, are passed over.
  void Take(uint16_t code, std::string_view data);
  // The encoding that iconv knows for the number in the descriptor; null for none.
  const char* Encoding() const;
  // Converts. A code point without an entry is the page's default character; one whose
  // character isn't known by its identifier is what `rest`, which may be null, makes of
  // it, or U+FFFD.
  std::string Decode(std::string_view bytes, TextDecoder* rest) const;

 private:
  std::string TakeEntry(std::string_view entry, size_t& length) const;

  size_t m_codeLength = 1;                       // bytes of a code point
  bool m_unicode = false;                        // the entries say their characters in Unicode, too
  unsigned m_number = 0;                         // of the code page
  std::string m_default;                         // the character of code points without an entry
  std::map<unsigned, std::string> m_characters;  // in UTF-8; empty: not known
};

}  // namespace kz
