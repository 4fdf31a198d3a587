// Text and bytes on their way into HTML files: the one place where they are escaped.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "Toolkit/Base/Tested.h"

namespace kz {

// Takes the next piece of a file that is written. False: that failed, and no more is wanted.
using TakeMarkup = std::function<bool(std::string_view piece)>;

// Text for an element or for the value of an attribute in either kind of quotes. Control
// characters, those that turn the direction of writing and bytes that are no UTF-8 become
// blanks.
KZ_TESTED std::string EscapedText(std::string_view text);

// Text as a string of JSON, with its quotes, that may stand in a script element: nothing in it
// ends one or begins a comment. Control characters are escaped; bytes that are no UTF-8 become
// U+FFFD.
KZ_TESTED std::string JsonString(std::string_view text);

// A number as JSON has it, with at most two digits after the point; 0 for what is no number.
KZ_TESTED std::string JsonNumber(double number);

// Bytes as base64 (RFC 4648, section 4), piece by piece.
class KZ_TESTED Base64 {
 public:
  explicit Base64(TakeMarkup take) : m_take(std::move(take)) {}
  // Adds bytes; hands out what is complete of them. False when that failed.
  bool Add(const void* bytes, size_t count);
  // Hands out the rest, padded. False when that failed, now or before.
  bool Finish();

 private:
  void Put(size_t bytes);

  TakeMarkup m_take;
  std::array<unsigned char, 3> m_group = {};  // the next bytes to be coded
  size_t m_grouped = 0;
  std::string m_text;
  bool m_good = true;
};

// The base64 of a few bytes.
KZ_TESTED std::string ToBase64(std::string_view bytes);

}  // namespace kz
