#include "Toolkit/View/Layout/FontFace.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "Toolkit/Base/AsciiCase.h"

namespace kz {

namespace {

struct FaceWord {
  std::string_view word;
  Face face;
};

// Parts of names, the first that is found counts.
constexpr FaceWord kFaceWords[] = {
    {"COUR", Face::Mono},     {"MONO", Face::Mono},     {"TYPEW", Face::Mono},
    {"PREST", Face::Mono},    {"LETTERG", Face::Mono},  {"LUCON", Face::Mono},
    {"CONSOL", Face::Mono},   {"SANS", Face::Sans},     {"HELV", Face::Sans},
    {"ARIAL", Face::Sans},    {"GOTHIC", Face::Sans},   {"UNIV", Face::Sans},
    {"TIMES", Face::Serif},   {"ROMAN", Face::Serif},   {"SERIF", Face::Serif},
    {"GARAM", Face::Serif},   {"SONOR", Face::Serif},   {"BOOK", Face::Serif},
    {"GEORGIA", Face::Serif}, {"PALATIN", Face::Serif}, {"CENTURY", Face::Serif},
};

// The letter of a family in names like C0H200B0.
constexpr size_t kFamily = 2, kStyle = 3, kAfterStyle = 4, kSize = 6, kCoreName = 6;

std::string Upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), UpperCase);
  return text;
}

// Whether a name is one of the usual families: C0 or X0 and the like, a family, a style.
bool IsCoreName(std::string_view name) {
  const bool set = name.starts_with('C') || name.starts_with('X');
  return set && name.size() >= kCoreName && name.find(' ') == std::string_view::npos &&
         name[kStyle] >= '1' && name[kStyle] <= '9' && name[kAfterStyle] >= '0' &&
         name[kAfterStyle] <= '9';
}

Face FaceOfFamily(char family) {
  switch (family) {
    case '4':  // Courier
    case '0':  // fixed pitch ones
      return Face::Mono;
    case 'N':  // Times New Roman
    case 'S':  // Sonoran Serif
      return Face::Serif;
    default:
      return Face::Sans;
  }
}

// Sizes are a digit for themselves, 0 for 10, and letters that count on from 11.
double SizeOfLetter(char size) {
  if (size == '0') return 10;
  if (size >= '1' && size <= '9') return size - '0';
  if (size >= 'A' && size <= 'Z') return 11 + (size - 'A');
  return 0;
}

}  // namespace

RunFont RunFontOf(const MappedFont* font) {
  RunFont run;
  if (font == nullptr) return run;
  const std::string name = Upper(font->name.empty() ? font->codedFont : font->name);
  run.bold = font->bold;
  run.italic = font->italic;
  if (font->points > 0) run.size = font->points;
  if (IsCoreName(name)) {
    // 2 is the plain style, 3 its italic one, 4 the bold one, and so on.
    const int style = name[kStyle] - '0';
    run.face = FaceOfFamily(name[kFamily]);
    run.bold |= style >= 4;
    run.italic |= style >= 3 && style % 2 == 1;
    const double size = name.size() > kSize ? SizeOfLetter(name[kSize]) : 0;
    if (font->points <= 0 && size > 0) run.size = size;
    return run;
  }
  if (!name.empty()) run.face = Face::Sans;
  for (const FaceWord& row : kFaceWords) {
    if (name.find(row.word) == std::string::npos) continue;
    run.face = row.face;
    break;
  }
  run.bold |= name.find("BOLD") != std::string::npos;
  run.italic |= name.find("ITAL") != std::string::npos || name.find("OBLI") != std::string::npos;
  return run;
}

}  // namespace kz
