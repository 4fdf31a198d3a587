#include "Toolkit/Fields/CodePageTable.h"

#include <algorithm>

#include "Format/BigEndian.h"
#include "Format/CodePage.h"
#include "Format/GraphicCharacter.h"
#include "Format/StructuredField.h"

namespace kz {

namespace {

constexpr size_t kFlags = 1;
constexpr size_t kScalar = 4;  // bytes of a character of Unicode

void AppendUtf8(char32_t code, std::string& text) {
  const auto put = [&text](char32_t byte) { text += static_cast<char>(byte); };
  if (code < 0x80) {
    put(code);
  } else if (code < 0x800) {
    put(0xC0 | code >> 6);
    put(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    put(0xE0 | code >> 12);
    put(0x80 | (code >> 6 & 0x3F));
    put(0x80 | (code & 0x3F));
  } else {
    put(0xF0 | code >> 18);
    put(0x80 | (code >> 12 & 0x3F));
    put(0x80 | (code >> 6 & 0x3F));
    put(0x80 | (code & 0x3F));
  }
}

bool IsScalar(int64_t value) {
  return value > 0 && value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF);
}

std::string CharacterOf(std::string_view id) {
  std::string text;
  for (const char32_t code : CharactersOfId(ResourceName(id))) AppendUtf8(code, text);
  return text;
}

}  // namespace

void CodePageTable::Take(uint16_t code, std::string_view data) {
  if (code == sf::kCodePageDescriptor) {
    constexpr size_t number = 40;
    m_number = static_cast<unsigned>(GetBig(data, number, 2));
  } else if (code == sf::kCodePageControl) {
    constexpr size_t groupLength = 9;
    // Of 10 or 11 bytes; FE and FF are as long as they say, with code points of 1 or 2.
    const int64_t kind = GetBig(data, groupLength, 1);
    m_codeLength = kind == 0x0B || kind == 0xFF ? 2 : 1;
    m_unicode = kind == 0xFE || kind == 0xFF;
    m_default = CharacterOf(data.substr(0, kGraphicCharacterId));
  } else if (code == sf::kCodePageIndex) {
    const size_t fixed = kGraphicCharacterId + kFlags + m_codeLength;
    while (data.size() >= fixed) {
      const auto point =
          static_cast<unsigned>(GetBig(data, kGraphicCharacterId + kFlags, m_codeLength));
      size_t length = fixed;
      m_characters[point] = TakeEntry(data, length);
      data.remove_prefix(std::min(length, data.size()));
    }
  }
}

// The character of the entry at the start of the data, whose fixed bytes are there.
std::string CodePageTable::TakeEntry(std::string_view entry, size_t& length) const {
  std::string text;
  if (m_unicode) {
    const auto count = static_cast<size_t>(GetBig(entry, length++, 1));
    for (size_t i = 0; i < count; ++i, length += kScalar) {
      const int64_t scalar = GetBig(entry, length, kScalar);
      if (IsScalar(scalar)) AppendUtf8(static_cast<char32_t>(scalar), text);
    }
  }
  return text.empty() ? CharacterOf(entry.substr(0, kGraphicCharacterId)) : text;
}

const char* CodePageTable::Encoding() const { return EncodingOfCodePage(m_number); }

std::string CodePageTable::Decode(std::string_view bytes, TextDecoder* rest) const {
  std::string text;
  for (; !bytes.empty(); bytes.remove_prefix(std::min(m_codeLength, bytes.size()))) {
    const auto found = m_characters.find(static_cast<unsigned>(GetBig(bytes, 0, m_codeLength)));
    const bool known = found != m_characters.end();
    const std::string& character = known ? found->second : m_default;
    if (!character.empty()) {
      text += character;
    } else {
      text += known && rest != nullptr ? rest->Decode(bytes.substr(0, m_codeLength)) : "\uFFFD";
    }
  }
  return text;
}

}  // namespace kz
