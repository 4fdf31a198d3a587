// The text of a document, whatever the code pages of its fonts are, as UTF-8.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "Format/CodePage.h"
#include "Toolkit/Base/Tested.h"
#include "Toolkit/Fields/CodePageTable.h"
#include "Toolkit/Fields/MappedFonts.h"
#include "Toolkit/Fields/TextDecoder.h"

namespace kz {

class KZ_TESTED FontText {
 public:
  FontText() = default;
  FontText(const FontText&) = delete;
  FontText& operator=(const FontText&) = delete;

  // An encoding that all text is in, whatever the document says. -9 for one that iconv
  // doesn't know.
  Outcome Override(const std::string& encoding);
  // The encoding of text whose font tells none; null for the usual one.
  void SetDefault(const char* encoding);
  // The same of the one that Begin Document names, by the data of that field. It is meant
  // for names, which may be Unicode where text is not.
  void TakeDocument(std::string_view beginDocument);
  // Whether TakeResource has a use for a field.
  static bool IsOfFonts(uint16_t code);
  // Takes a field of the document's resources: code pages, and coded fonts, which name
  // the code page that they go with.
  void TakeResource(uint16_t code, std::string_view data);

  // Text in a font; null for one that isn't mapped.
  std::string Decode(std::string_view bytes, const MappedFont* font);
  // Text that is Unicode whatever its font is: UTF-8 when that is the font's, or UTF-16.
  std::string DecodeUnicode(std::string_view bytes, const MappedFont* font);

 private:
  TextDecoder* DecoderOf(const char* encoding);
  const CodePageTable* FindTable(const std::string& name) const;

  std::string m_override;
  const char* m_default = kDefaultEncoding;
  std::map<std::string, std::unique_ptr<TextDecoder>> m_decoders;  // by encodings
  std::map<std::string, CodePageTable> m_tables;                   // by names
  std::map<std::string, std::string> m_aliases;     // of tables, by their resources' names
  std::map<std::string, std::string> m_codedFonts;  // to the names of their code pages
  // What the last fields have begun.
  std::string m_resource, m_codedFont;
  CodePageTable* m_table = nullptr;
};

}  // namespace kz
