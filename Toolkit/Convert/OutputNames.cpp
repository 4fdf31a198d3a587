#include "Toolkit/Convert/OutputNames.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string_view>

#include "Toolkit/Base/Printable.h"
#include "Toolkit/Convert/Shard.h"
#include "Toolkit/Files/NumberedName.h"

namespace kz {

namespace {

constexpr size_t kLongestGroup = 100;

// Folder with a slash at its end (empty: none) and name.
std::pair<std::string, std::string> Split(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return {{}, path};
  return {path.substr(0, slash + 1), path.substr(slash + 1)};
}

// A dot at the beginning makes a hidden file, no ending.
std::string StemOf(const std::string& name) {
  const size_t dot = name.rfind('.');
  return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

Outcome Refuse(const std::string& pattern, const std::string& why) {
  std::string what = "'";
  what.append(pattern).append("' ").append(why);
  return Failure(K_ERROR_INVALID_FORMAT, what);
}

}  // namespace

std::string SafeName(const std::string& name) {
  std::string safe = Printable(name, Unprintable::Blank);
  for (char& c : safe) {
    if (c == '/' || c == '\\') c = '_';
  }
  safe.erase(0, std::min(safe.find_first_not_of(' '), safe.size()));
  safe.erase(safe.find_last_not_of(' ') + 1);
  if (safe.size() > kLongestGroup) {
    char hash[18];
    (void)std::snprintf(hash, sizeof(hash), "~%016llx",
                        static_cast<unsigned long long>(StableHash(name)));
    size_t end = kLongestGroup - (sizeof(hash) - 1);
    // Not in the middle of a character.
    while (end > 0 && (static_cast<unsigned char>(safe[end]) & 0xC0) == 0x80) --end;
    safe.replace(end, std::string::npos, hash);
  }
  if (safe.find_first_not_of('.') == std::string::npos) safe.assign(safe.size() + 1, '_');
  return safe;
}

Outcome OutputNames::Parse(const std::string& pattern, OutputPer per, PictureFormat format) {
  const auto* row = std::find_if(std::begin(kPictureFormats), std::end(kPictureFormats),
                                 [&](const auto& of) { return of.format == format; });
  if (row == std::end(kPictureFormats)) return Failure(K_ERROR_SAVE_FORMAT);
  m_ending = std::string(1, '.').append(row->ending);
  std::string text = pattern;
  if (text.ends_with(m_ending)) text.resize(text.size() - m_ending.size());
  if (text.empty()) {
    text = per == OutputPer::Document ? "%f" : per == OutputPer::Page ? "%f-%d" : "%f-%g";
  }
  if (text.find('/') != std::string::npos || text.find('\0') != std::string::npos) {
    return Refuse(pattern, "has a slash: outputs stand in the folders of their sources");
  }
  m_pieces.clear();
  for (std::string_view rest = text; !rest.empty();) {
    if (rest[0] != '%') {
      const size_t end = std::min(rest.find('%'), rest.size());
      m_pieces.push_back({Kind::Text, std::string(rest.substr(0, end))});
      rest.remove_prefix(end);
      continue;
    }
    size_t end = 1;
    while (end < rest.size() && end < 3 && rest[end] >= '0' && rest[end] <= '9') ++end;
    const char letter = end < rest.size() ? rest[end] : '\0';
    if (letter == 'd') {
      m_pieces.push_back({Kind::Number, std::string(rest.substr(0, end + 1))});
    } else if (end == 1 && letter == '%') {
      m_pieces.push_back({Kind::Text, std::string(1, '%')});
    } else if (end == 1 && (letter == 'f' || letter == 'F' || letter == 'g')) {
      m_pieces.push_back({letter == 'f'   ? Kind::Stem
                          : letter == 'F' ? Kind::FileName
                                          : Kind::Group,
                          {}});
    } else {
      return Refuse(pattern, "has a % that none of f, F, d, g and % follows");
    }
    rest.remove_prefix(end + 1);
  }
  m_hasNumber = Has(Kind::Number);
  m_hasGroup = Has(Kind::Group);
  if (per == OutputPer::Document && m_hasGroup) {
    return Refuse(pattern, "has a %g, and there is no output for a group");
  }
  if (per == OutputPer::Document && m_hasNumber && HoldsPages(format)) {
    return Refuse(pattern, "has a %d, and there is one output for a document");
  }
  if (per == OutputPer::Page && !m_hasNumber) {
    return Refuse(pattern, "needs a %d: each page has an output");
  }
  if (per == OutputPer::Group && !m_hasNumber && !m_hasGroup) {
    return Refuse(pattern, "needs a %d or %g: each group has an output");
  }
  return {};
}

bool OutputNames::Has(Kind kind) const {
  return std::any_of(m_pieces.begin(), m_pieces.end(),
                     [kind](const Piece& piece) { return piece.kind == kind; });
}

std::string OutputNames::Key(const std::string& relative) const {
  if (Has(Kind::FileName)) return relative;
  if (!Has(Kind::Stem)) return {};
  const auto [folder, name] = Split(relative);
  return folder + StemOf(name);
}

std::string OutputNames::ShardKey(const std::string& relative) const {
  if (!Has(Kind::FileName) && !Has(Kind::Stem)) return Split(relative).first;
  return Key(relative);
}

std::string OutputNames::Name(const std::string& relative, size_t number, const std::string& group,
                              size_t suffix) const {
  const auto [folder, name] = Split(relative);
  std::string path = folder;
  for (const Piece& piece : m_pieces) {
    switch (piece.kind) {
      case Kind::Text:
        path += piece.text;
        break;
      case Kind::Stem:
        path += StemOf(name);
        break;
      case Kind::FileName:
        path += name;
        break;
      case Kind::Number:
        path += NumberedName(piece.text, static_cast<int>(number));
        break;
      case Kind::Group:
        path += SafeName(group);
        break;
    }
  }
  if (suffix > 0) path.append("-").append(std::to_string(suffix));
  return path + m_ending;
}

}  // namespace kz
