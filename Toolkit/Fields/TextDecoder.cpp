#include "Toolkit/Fields/TextDecoder.h"

#include <algorithm>
#include <cerrno>

namespace kz {

TextDecoder::~TextDecoder() {
  if (m_converter != None()) ::iconv_close(m_converter);
}

Outcome TextDecoder::Open(const std::string& encoding) {
  if (m_converter != None()) ::iconv_close(m_converter);
  m_converter = ::iconv_open("UTF-8", encoding.c_str());
  m_unit = encoding.starts_with("UTF-16") ? 2 : 1;
  if (m_converter != None()) return {};
  return Failure(K_ERROR_INVALID_FORMAT, "there is no encoding '" + encoding + "'");
}

std::string TextDecoder::Decode(std::string_view bytes) {
  std::string text;
  if (m_converter == None()) return text;
  ::iconv(m_converter, nullptr, nullptr, nullptr, nullptr);
  char* from = const_cast<char*>(bytes.data());
  size_t left = bytes.size();
  while (left > 0) {
    char piece[1024];
    char* to = piece;
    size_t room = sizeof(piece);
    const size_t result = ::iconv(m_converter, &from, &left, &to, &room);
    text.append(piece, sizeof(piece) - room);
    if (result == static_cast<size_t>(-1) && errno != E2BIG) {
      text += "\xEF\xBF\xBD";
      const size_t passed = std::min(m_unit, left);
      from += passed;
      left -= passed;
    }
  }
  return text;
}

}  // namespace kz
