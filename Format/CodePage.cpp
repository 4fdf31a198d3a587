// Code pages ("Code pages" of docs/format.md).
#include "Format/CodePage.h"

#include <algorithm>
#include <iterator>

namespace kz {

namespace {

struct CodePageRow {
  unsigned codePage;
  const char* encoding;
};

constexpr CodePageRow kCodePages[] = {
    // clang-format off
    {37, "IBM037"},     {256, "IBM256"},    {273, "IBM273"},    {274, "IBM274"},
    {275, "IBM275"},    {277, "IBM277"},    {278, "IBM278"},    {280, "IBM280"},
    {281, "IBM281"},    {284, "IBM284"},    {285, "IBM285"},    {290, "IBM290"},
    {297, "IBM297"},    {420, "IBM420"},    {423, "IBM423"},    {424, "IBM424"},
    {437, "IBM437"},    {500, kDefaultEncoding}, {813, "ISO-8859-7"}, {819, "ISO-8859-1"},
    {850, "IBM850"},    {852, "IBM852"},    {855, "IBM855"},    {857, "IBM857"},
    {858, "IBM858"},    {860, "IBM860"},    {861, "IBM861"},    {862, "IBM862"},
    {863, "IBM863"},    {864, "IBM864"},    {865, "IBM865"},    {866, "IBM866"},
    {869, "IBM869"},    {870, "IBM870"},    {871, "IBM871"},    {875, "IBM875"},
    {880, "IBM880"},    {905, "IBM905"},    {912, "ISO-8859-2"}, {915, "ISO-8859-5"},
    {920, "ISO-8859-9"}, {923, "ISO-8859-15"}, {1025, "IBM1025"}, {1026, "IBM1026"},
    {1047, "IBM1047"},  {1112, "IBM1112"},  {1122, "IBM1122"},  {1123, "IBM1123"},
    {1140, "IBM1140"},  {1141, "IBM1141"},  {1142, "IBM1142"},  {1143, "IBM1143"},
    {1144, "IBM1144"},  {1145, "IBM1145"},  {1146, "IBM1146"},  {1147, "IBM1147"},
    {1148, "IBM1148"},  {1149, "IBM1149"},  {1200, "UTF-16BE"}, {1208, "UTF-8"},
    {1250, "CP1250"},   {1251, "CP1251"},   {1252, "CP1252"},   {1253, "CP1253"},
    {1254, "CP1254"},   {1255, "CP1255"},   {1256, "CP1256"},   {1257, "CP1257"},
    {1258, "CP1258"},
    // clang-format on
};

// From the blank to the tilde, a line for each sixteen of ASCII.
constexpr std::string_view kEbcdic(
    "\x40\x4F\x7F\x7B\x5B\x6C\x50\x7D\x4D\x5D\x5C\x4E\x6B\x60\x4B\x61"
    "\xF0\xF1\xF2\xF3\xF4\xF5\xF6\xF7\xF8\xF9\x7A\x5E\x4C\x7E\x6E\x6F"
    "\x7C\xC1\xC2\xC3\xC4\xC5\xC6\xC7\xC8\xC9\xD1\xD2\xD3\xD4\xD5\xD6"
    "\xD7\xD8\xD9\xE2\xE3\xE4\xE5\xE6\xE7\xE8\xE9\x4A\xE0\x5A\x5F\x6D"
    "\x79\x81\x82\x83\x84\x85\x86\x87\x88\x89\x91\x92\x93\x94\x95\x96"
    "\x97\x98\x99\xA2\xA3\xA4\xA5\xA6\xA7\xA8\xA9\xC0\xBB\xD0\xA1");
static_assert(kEbcdic.size() == '~' - ' ' + 1);

}  // namespace

const char* EncodingOfCodePage(unsigned codePage) {
  const auto* row =
      std::find_if(std::begin(kCodePages), std::end(kCodePages),
                   [codePage](const CodePageRow& known) { return known.codePage == codePage; });
  return row != std::end(kCodePages) ? row->encoding : nullptr;
}

const char* EncodingOfResource(std::string_view name) {
  // T1, two characters that tell pages of one number apart, the number.
  constexpr size_t length = 8;
  constexpr size_t digits = 4;
  if (name.size() != length || !name.starts_with("T1")) return nullptr;
  unsigned codePage = 0;
  for (const char c : name.substr(length - digits)) {
    if (c < '0' || c > '9') return nullptr;
    codePage = codePage * 10 + static_cast<unsigned>(c - '0');
  }
  return EncodingOfCodePage(codePage);
}

unsigned char EbcdicOf(char ascii) {
  const bool printable = ascii >= ' ' && ascii <= '~';
  return static_cast<unsigned char>(kEbcdic[static_cast<size_t>((printable ? ascii : '?') - ' ')]);
}

std::string ResourceName(std::string_view bytes) {
  std::string name;
  const auto isAscii = [](char c) { return (static_cast<unsigned char>(c) & 0x80) == 0; };
  // Letters and digits of EBCDIC are beyond ASCII, and the high bytes of these names are 0.
  const bool ascii = std::all_of(bytes.begin(), bytes.end(), isAscii);
  const bool wide = ascii && bytes.size() > 1 && bytes[0] == 0;
  for (size_t at = wide ? 1 : 0; at < bytes.size(); at += wide ? 2 : 1) {
    const char byte = bytes[at];
    const size_t known = kEbcdic.find(byte);
    if (byte == 0 || (ascii && byte >= ' ' && byte <= '~')) {
      name += byte == 0 ? ' ' : byte;
    } else {
      name += !ascii && known != std::string_view::npos ? static_cast<char>(' ' + known) : '?';
    }
  }
  name.erase(name.find_last_not_of(' ') + 1);
  return name;
}

}  // namespace kz
