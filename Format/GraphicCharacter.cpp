// Graphic characters ("Code pages" of docs/format.md).
#include "Format/GraphicCharacter.h"

#include <algorithm>
#include <iterator>

namespace kz {

namespace {

struct Character {
  std::string_view id;  // without the zeros at the end
  char32_t code;
};

// What no rule gives.
constexpr Character kCharacters[] = {
    // clang-format off
    // Greek letters whose names are like those of others
    {"GE31", U'η'}, {"GE32", U'Η'}, {"GE71", U'ή'}, {"GE72", U'Ή'}, {"GO31", U'ω'},
    {"GO32", U'Ω'}, {"GO71", U'ώ'}, {"GO72", U'Ώ'}, {"GP61", U'ψ'}, {"GP62", U'Ψ'},
    {"GS61", U'ς'}, {"GT61", U'θ'}, {"GT62", U'Θ'},
    // ligatures and letters of their own
    {"LA51", U'æ'}, {"LA52", U'Æ'}, {"LD61", U'đ'}, {"LD62", U'Ð'}, {"LD63", U'ð'},
    {"LD64", U'Ð'}, {"LF51", U'ﬀ'}, {"LF53", U'ﬁ'}, {"LF55", U'ﬂ'}, {"LH61", U'ħ'},
    {"LH62", U'Ħ'}, {"LI51", U'ĳ'}, {"LI52", U'Ĳ'}, {"LI61", U'ı'}, {"LK61", U'ĸ'},
    {"LL61", U'ł'}, {"LL62", U'Ł'}, {"LL63", U'ŀ'}, {"LL64", U'Ŀ'}, {"LN011", U'ⁿ'},
    {"LN61", U'ŋ'}, {"LN62", U'Ŋ'}, {"LN63", U'ŉ'}, {"LO51", U'œ'}, {"LO52", U'Œ'},
    {"LO61", U'ø'}, {"LO62", U'Ø'}, {"LS61", U'ß'}, {"LS62", U'ẞ'}, {"LT61", U'ŧ'},
    {"LT62", U'Ŧ'}, {"LT63", U'þ'}, {"LT64", U'Þ'},
    // digits above the line
    {"ND011", U'¹'}, {"ND021", U'²'}, {"ND031", U'³'}, {"ND041", U'⁴'}, {"ND051", U'⁵'},
    {"ND061", U'⁶'}, {"ND071", U'⁷'}, {"ND081", U'⁸'}, {"ND091", U'⁹'}, {"ND101", U'⁰'},
    // fractions
    {"NF01", U'½'}, {"NF04", U'¼'}, {"NF05", U'¾'}, {"NF18", U'⅛'}, {"NF19", U'⅜'},
    {"NF20", U'⅝'}, {"NF21", U'⅞'},
    // arithmetic
    {"SA01", U'+'}, {"SA02", U'±'}, {"SA03", U'<'}, {"SA04", U'='}, {"SA05", U'>'},
    {"SA06", U'÷'}, {"SA07", U'×'}, {"SA38", U'∩'}, {"SA45", U'∞'}, {"SA48", U'≡'},
    {"SA52", U'≤'}, {"SA53", U'≥'}, {"SA54", U'≠'}, {"SA70", U'≈'}, {"SA79", U'∙'},
    {"SA80", U'√'},
    // currencies
    {"SC01", U'¤'}, {"SC02", U'£'}, {"SC03", U'$'}, {"SC04", U'¢'}, {"SC05", U'¥'},
    {"SC06", U'₧'}, {"SC07", U'ƒ'}, {"SC20", U'€'},
    // accents that stand alone
    {"SD11", U'´'}, {"SD13", U'`'}, {"SD15", U'^'}, {"SD1501", U'ˆ'}, {"SD17", U'¨'},
    {"SD19", U'~'}, {"SD1901", U'˜'}, {"SD21", U'ˇ'}, {"SD23", U'˘'}, {"SD25", U'˝'},
    {"SD27", U'˚'}, {"SD29", U'˙'}, {"SD31", U'¯'}, {"SD41", U'¸'}, {"SD43", U'˛'},
    {"SD63", U'·'},
    // signs
    {"SM01", U'#'}, {"SM02", U'%'}, {"SM03", U'&'}, {"SM04", U'*'}, {"SM05", U'@'},
    {"SM06", U'['}, {"SM07", U'\\'}, {"SM08", U']'}, {"SM11", U'{'}, {"SM12", U'―'},
    {"SM13", U'|'}, {"SM14", U'}'}, {"SM15", U'¯'}, {"SM17", U'µ'}, {"SM19", U'°'},
    {"SM20", U'º'}, {"SM21", U'ª'}, {"SM24", U'§'}, {"SM25", U'¶'}, {"SM30", U'←'},
    {"SM31", U'→'}, {"SM32", U'↑'}, {"SM33", U'↓'}, {"SM34", U'†'}, {"SM35", U'‡'},
    {"SM47", U'■'}, {"SM52", U'©'}, {"SM53", U'®'}, {"SM54", U'™'}, {"SM56", U'‰'},
    {"SM57", U'•'}, {"SM59", U'►'}, {"SM63", U'◄'}, {"SM65", U'¦'}, {"SM66", U'¬'},
    {"SM68", U'⌐'}, {"SM90", U'—'},
    // punctuation
    {"SP01", U' '}, {"SP02", U'!'}, {"SP03", U'¡'}, {"SP04", U'"'}, {"SP05", U'\''},
    {"SP06", U'('}, {"SP07", U')'}, {"SP08", U','}, {"SP09", U'_'}, {"SP10", U'-'},
    {"SP11", U'.'}, {"SP12", U'/'}, {"SP13", U':'}, {"SP14", U';'}, {"SP15", U'?'},
    {"SP16", U'¿'}, {"SP17", U'«'}, {"SP18", U'»'}, {"SP19", U'‘'}, {"SP20", U'’'},
    {"SP21", U'“'}, {"SP22", U'”'}, {"SP23", U'„'}, {"SP26", U'‚'}, {"SP27", U'‹'},
    {"SP28", U'›'}, {"SP30", U'\u00A0'}, {"SP31", U'\u2007'}, {"SP32", U'\u00AD'},
    {"SS68", U'–'}, {"SV52", U'…'},
    // clang-format on
};

// The two digits after a letter name its accent: this number is the small letter's, the
// next one the capital's.
struct Accent {
  unsigned number;
  char32_t mark;              // that combines with any letter
  std::u32string_view pairs;  // letters, each with the accented one after it
};

constexpr Accent kAccents[] = {
    // clang-format off
    {1, 0, U""},
    {11, U'\u0301', U"aáeéiíoóuúyýcćgǵlĺnńrŕsśzźAÁEÉIÍOÓUÚYÝCĆGǴLĹNŃRŔSŚZŹ"
                    U"αάεέιίοόυύΑΆΕΈΙΊΟΌΥΎ"},
    {13, U'\u0300', U"aàeèiìoòuùAÀEÈIÌOÒUÙ"},
    {15, U'\u0302', U"aâeêiîoôuûcĉgĝhĥjĵsŝwŵyŷAÂEÊIÎOÔUÛCĈGĜHĤJĴSŜWŴYŶ"},
    {17, U'\u0308', U"aäeëiïoöuüyÿAÄEËIÏOÖUÜYŸιϊυϋΙΪΥΫ"},
    {19, U'\u0303', U"aãnñoõiĩuũAÃNÑOÕIĨUŨ"},
    {21, U'\u030C', U"cčdďeělľnňrřsštťzžCČDĎEĚLĽNŇRŘSŠTŤZŽ"},
    {23, U'\u0306', U"aăgğuŭeĕiĭoŏAĂGĞUŬEĔIĬOŎ"},
    {25, U'\u030B', U"oőuűOŐUŰ"},
    {27, U'\u030A', U"aåuůAÅUŮ"},
    {29, U'\u0307', U"cċeėgġzżCĊEĖGĠIİZŻ"},
    {31, U'\u0304', U"aāeēiīoōuūAĀEĒIĪOŌUŪ"},
    {41, U'\u0327', U"cçgģkķlļnņrŗsştţCÇGĢKĶLĻNŅRŖSŞTŢ"},
    {43, U'\u0328', U"aąeęiįuųAĄEĘIĮUŲ"},
    // clang-format on
};

// The Greek letters that the letters of identifiers stand for; a blank for none.
constexpr std::u32string_view kGreek = U"αβ δεφγχι κλμνοπ ρστυ  ξ ζ";

char32_t LetterOf(char kind, char letter, bool capital) {
  if (kind == 'L') return static_cast<char32_t>(capital ? letter : letter - 'A' + 'a');
  const char32_t greek = kGreek[static_cast<size_t>(letter - 'A')];
  if (greek == U' ') return 0;
  return capital ? greek - U'α' + U'Α' : greek;
}

// A letter with or without an accent, or a digit.
std::u32string ByRule(std::string_view id) {
  const auto digit = [id](size_t at) { return id[at] >= '0' && id[at] <= '9'; };
  if (!digit(2) || !digit(3)) return {};
  const auto number = static_cast<unsigned>((id[2] - '0') * 10 + (id[3] - '0'));
  if (id.starts_with("ND")) {
    if (number < 1 || number > 10) return {};
    return std::u32string(1, U'0' + number % 10);
  }
  if ((id[0] != 'L' && id[0] != 'G') || id[1] < 'A' || id[1] > 'Z') return {};
  const bool capital = number % 2 == 0;
  const char32_t letter = LetterOf(id[0], id[1], capital);
  const unsigned wanted = number - (capital ? 1 : 0);
  const auto* accent = std::find_if(std::begin(kAccents), std::end(kAccents),
                                    [wanted](const Accent& row) { return row.number == wanted; });
  if (letter == 0 || accent == std::end(kAccents)) return {};
  if (accent->mark == 0) return {letter};
  for (size_t at = 0; at < accent->pairs.size(); at += 2) {
    if (accent->pairs[at] == letter) return {accent->pairs[at + 1]};
  }
  return {letter, accent->mark};
}

}  // namespace

std::u32string CharactersOfId(std::string_view id) {
  if (id.size() != kGraphicCharacterId) return {};
  constexpr size_t basic = 4;
  for (const std::string_view whole : {id, id.substr(0, basic)}) {
    for (const Character& row : kCharacters) {
      const bool begins = whole.starts_with(row.id);
      if (begins && whole.find_first_not_of('0', row.id.size()) == std::string_view::npos) {
        return {row.code};
      }
    }
  }
  return ByRule(id);
}

}  // namespace kz
