// Text of a document's code page as UTF-8.
#pragma once

#include <iconv.h>

#include <string>
#include <string_view>

#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Outcome.h"

namespace kz {

class K_EXPORT TextDecoder {
 public:
  TextDecoder() = default;
  ~TextDecoder();
  TextDecoder(const TextDecoder&) = delete;
  TextDecoder& operator=(const TextDecoder&) = delete;

  // -9 for an encoding that iconv doesn't know.
  Outcome Open(const std::string& encoding);
  // Converts; what isn't text in the encoding becomes U+FFFD.
  std::string Decode(std::string_view bytes);

 private:
  // NOLINTNEXTLINE(performance-no-int-to-ptr): how POSIX marks a failed iconv_open
  static iconv_t None() { return reinterpret_cast<iconv_t>(-1); }

  iconv_t m_converter = None();
  size_t m_unit = 1;  // bytes that what isn't text takes
};

}  // namespace kz
