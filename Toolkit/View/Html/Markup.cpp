#include "Toolkit/View/Html/Markup.h"

#include <charconv>
#include <cmath>

#include "Toolkit/Base/Printable.h"

namespace kz {

namespace {

constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr size_t kPiece = 1 << 16;  // characters that are handed out at a time

// Puts other text in the place of some characters, and what Printable says in that of those
// that can't be shown.
template <typename Replace>
std::string Escaped(std::string_view text, std::string_view special, Unprintable as,
                    Replace replace) {
  std::string out;
  while (!text.empty()) {
    const size_t plain = std::min(text.find_first_of(special), text.size());
    out += Printable(text.substr(0, plain), as);
    if (plain < text.size()) out += replace(text[plain]);
    text.remove_prefix(std::min(plain + 1, text.size()));
  }
  return out;
}

const char* HtmlReference(char character) {
  switch (character) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    default:
      return "&#39;";
  }
}

const char* JsonEscape(char character) {
  switch (character) {
    case '&':
      return "\\u0026";
    case '<':
      return "\\u003c";
    case '>':
      return "\\u003e";
    case '"':
      return "\\\"";
    default:
      return "\\\\";
  }
}

}  // namespace

std::string EscapedText(std::string_view text) {
  return Escaped(text, "&<>\"'", Unprintable::Blank, HtmlReference);
}

std::string JsonString(std::string_view text) {
  return '"' + Escaped(text, "&<>\"\\", Unprintable::Json, JsonEscape) + '"';
}

std::string JsonNumber(double number) {
  constexpr double most = 1e9, perUnit = 100;
  if (!(std::abs(number) < most)) return "0";
  const double rounded = std::round(number * perUnit) / perUnit;
  if (rounded == 0) return "0";  // and not -0
  char text[32];
  const auto [end, error] = std::to_chars(std::begin(text), std::end(text), rounded);
  return error == std::errc() ? std::string(text, end) : "0";
}

bool Base64::Add(const void* bytes, size_t count) {
  const auto* from = static_cast<const unsigned char*>(bytes);
  for (size_t i = 0; i < count && m_good; ++i) {
    m_group[m_grouped++] = from[i];
    if (m_grouped == m_group.size()) Put(m_grouped);
  }
  return m_good;
}

bool Base64::Finish() {
  if (m_grouped > 0) Put(m_grouped);
  if (m_good && !m_text.empty()) m_good = m_take(m_text);
  m_text.clear();
  return m_good;
}

// Codes the group, of which so many bytes are there.
void Base64::Put(size_t bytes) {
  for (size_t i = bytes; i < m_group.size(); ++i) m_group[i] = 0;
  const unsigned bits = static_cast<unsigned>(m_group[0]) << 16 |
                        static_cast<unsigned>(m_group[1]) << 8 | static_cast<unsigned>(m_group[2]);
  for (size_t i = 0; i < 4; ++i) m_text += i <= bytes ? kDigits[bits >> (18 - 6 * i) & 63] : '=';
  m_grouped = 0;
  if (m_text.size() < kPiece) return;
  m_good = m_take(m_text);
  m_text.clear();
}

std::string ToBase64(std::string_view bytes) {
  std::string text;
  Base64 coder([&text](std::string_view piece) {
    text += piece;
    return true;
  });
  (void)coder.Add(bytes.data(), bytes.size());
  (void)coder.Finish();
  return text;
}

}  // namespace kz
