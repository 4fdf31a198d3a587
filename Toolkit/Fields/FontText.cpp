#include "Toolkit/Fields/FontText.h"

#include <algorithm>

#include "Format/BigEndian.h"
#include "Format/StructuredField.h"
#include "Format/Triplet.h"

namespace kz {

namespace {

// As many code pages, and as many coded fonts, as a document will have.
constexpr size_t kMaxResources = 1000;

std::string NameOf(std::string_view data) { return ResourceName(data.substr(0, kFieldNameLength)); }

}  // namespace

Outcome FontText::Override(const std::string& encoding) {
  TextDecoder decoder;
  Outcome outcome = decoder.Open(encoding);
  if (outcome.Ok()) m_override = encoding;
  return outcome;
}

void FontText::SetDefault(const char* encoding) {
  m_default = encoding != nullptr ? encoding : kDefaultEncoding;
}

void FontText::TakeDocument(std::string_view beginDocument) {
  const size_t triplets =
      std::min<size_t>(beginDocument.size(), TripletsOffset(sf::kBeginDocument));
  constexpr size_t codePage = 2;
  const Triplet triplet = FindTriplet(beginDocument.substr(triplets), triplet::kCharacterSet);
  const auto number = static_cast<unsigned>(GetBig(triplet.contents, codePage, 2));
  const char* encoding = EncodingOfCodePage(number);
  const bool unicode = encoding != nullptr && std::string_view(encoding).starts_with("UTF-");
  SetDefault(unicode ? nullptr : encoding);
}

bool FontText::IsOfFonts(uint16_t code) {
  switch (code) {
    case sf::kBeginResource:
    case sf::kBeginCodePage:
    case sf::kCodePageDescriptor:
    case sf::kCodePageControl:
    case sf::kCodePageIndex:
    case sf::kBeginCodedFont:
    case sf::kCodedFontIndex:
      return true;
    default:
      return false;
  }
}

void FontText::TakeResource(uint16_t code, std::string_view data) {
  switch (code) {
    case sf::kBeginResource:
      m_resource = NameOf(data);
      m_table = nullptr;
      break;
    case sf::kBeginCodePage: {
      std::string name = NameOf(data);
      if (name.empty()) name = m_resource;
      m_table = nullptr;
      if (m_tables.size() >= kMaxResources) break;
      m_table = &m_tables[name];
      *m_table = {};
      m_aliases[m_resource] = name;
      break;
    }
    case sf::kBeginCodedFont:
      m_codedFont = NameOf(data);
      if (m_codedFont.empty()) m_codedFont = m_resource;
      break;
    case sf::kCodedFontIndex: {
      constexpr size_t codePage = 8;
      if (data.size() < codePage + kFieldNameLength || m_codedFonts.size() >= kMaxResources) break;
      for (const std::string& name : {m_codedFont, m_resource}) {
        m_codedFonts[name] = NameOf(data.substr(codePage));
      }
      break;
    }
    default:
      if (m_table != nullptr) m_table->Take(code, data);
  }
}

TextDecoder* FontText::DecoderOf(const char* encoding) {
  if (encoding == nullptr) return nullptr;
  std::unique_ptr<TextDecoder>& decoder = m_decoders[encoding];
  if (!decoder) {
    decoder = std::make_unique<TextDecoder>();
    // One that this system doesn't know decodes to nothing; the usual one is everywhere.
    if (!decoder->Open(encoding).Ok()) (void)decoder->Open(kDefaultEncoding);
  }
  return decoder.get();
}

const CodePageTable* FontText::FindTable(const std::string& name) const {
  if (name.empty()) return nullptr;
  auto found = m_tables.find(name);
  const auto alias = m_aliases.find(name);
  if (found == m_tables.end() && alias != m_aliases.end()) found = m_tables.find(alias->second);
  return found != m_tables.end() ? &found->second : nullptr;
}

std::string FontText::Decode(std::string_view bytes, const MappedFont* font) {
  const char* encoding = nullptr;
  if (!m_override.empty()) {
    encoding = m_override.c_str();
  } else if (font != nullptr && font->encoding != nullptr) {
    encoding = font->encoding;
  } else if (font != nullptr) {
    const auto codedFont = m_codedFonts.find(font->codedFont);
    const bool named = !font->codePage.empty() || codedFont == m_codedFonts.end();
    const std::string& name = named ? font->codePage : codedFont->second;
    encoding = EncodingOfResource(name);
    if (const CodePageTable* table = FindTable(name)) {
      if (table->Encoding() != nullptr) encoding = table->Encoding();
      return table->Decode(bytes, DecoderOf(encoding));
    }
    if (encoding == nullptr) encoding = EncodingOfCodePage(font->number);
  }
  return DecoderOf(encoding != nullptr ? encoding : m_default)->Decode(bytes);
}

std::string FontText::DecodeUnicode(std::string_view bytes, const MappedFont* font) {
  if (!m_override.empty()) return Decode(bytes, font);
  MappedFont unicode;
  unicode.encoding = font != nullptr && font->encoding != nullptr ? font->encoding : "UTF-16BE";
  return Decode(bytes, &unicode);
}

}  // namespace kz
