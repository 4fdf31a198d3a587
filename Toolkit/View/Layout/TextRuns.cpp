#include "Toolkit/View/Layout/TextRuns.h"

#include <algorithm>
#include <cmath>

#include "Format/BigEndian.h"
#include "Toolkit/Base/Printable.h"
#include "Toolkit/Images/Decoding/BilevelColor.h"
#include "Toolkit/Images/ImageFields.h"

namespace kz {

namespace {

constexpr unsigned kDefaultFont = 0xFF;
// More bytes make another run: no line of print has so many.
constexpr size_t kLongestRun = 1000;
// Of strings that repeat. A page has room for much less.
constexpr size_t kMostRepeated = size_t{64} * 1024;
constexpr double kRuleWidth = 0.5;  // points, if a rule doesn't say its own

// Characters that turn the direction of writing, which are the text's own.
constexpr std::string_view kDirections =
    "\u061C\u200E\u200F\u202A\u202B\u202C\u202D\u202E\u2066\u2067\u2068\u2069";

bool StartsCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }

// Blanks aren't adjusted: producers count their adjustment in the width that they set.
double WidthOf(std::string_view text, const TextStyle& style, const MeasureText& measure) {
  const auto characters = std::count_if(
      text.begin(), text.end(), [](char byte) { return byte != ' ' && StartsCharacter(byte); });
  double width = style.adjustment * static_cast<double>(characters);
  if (style.blank < 0) return width + measure(text, style);
  while (!text.empty()) {
    const size_t word = std::min(text.find(' '), text.size());
    if (word > 0) width += measure(text.substr(0, word), style);
    text.remove_prefix(word);
    const size_t blanks = std::min(text.find_first_not_of(' '), text.size());
    width += style.blank * static_cast<double>(blanks);
    text.remove_prefix(blanks);
  }
  return width;
}

int DegreesOf(const TextOrientation& o) {
  if (o.inlineX != 0) return o.inlineX > 0 ? 0 : 180;
  return o.inlineY > 0 ? 90 : 270;
}

}  // namespace

void TextRuns::Begin(const TextSpace& space, const Placement& frame) {
  m_frame = frame;
  m_cursor.Begin(space);
  m_style = {};
  m_bytes.clear();
  m_last.reset();
  SetFont(kDefaultFont);
  ControlSequences conditions(space.conditions);
  for (ControlSequence sequence; conditions.Next(sequence);) {
    const unsigned type = sequence.Type();
    if (type != ptx::kTransparentData && type != ptx::kRepeatString) Obey(sequence);
  }
  m_cursor.EndConditions();
}

bool TextRuns::Add(std::string_view data) {
  ControlSequences sequences(data);
  for (ControlSequence sequence; !m_full && sequences.Next(sequence);) {
    using enum ControlSequence::Fault;
    if (sequence.fault == NoSequence) {
      // Text may stand between sequences.
      m_bytes += data.substr(sequence.offset, sequence.length);
      EndRun();
    } else if (sequence.fault != Length) {
      Obey(sequence);
    }
  }
  // Fonts may be mapped anew before the next field.
  EndRun();
  return !m_full;
}

void TextRuns::Obey(const ControlSequence& sequence) {
  const std::string_view parameters = sequence.parameters;
  const unsigned type = sequence.Type();
  if (type == ptx::kTransparentData) {
    if (m_bytes.size() + parameters.size() > kLongestRun) EndRun();
    m_bytes += parameters;
    return;
  }
  if (type == ptx::kRepeatString) return Repeat(parameters);
  if (type == ptx::kUnicodeText) {
    EndRun();
    return PutText(m_uses.decode(sequence.text, m_font, true));
  }
  if (ObeyStyle(sequence)) return;
  if (TextCursor::IsMove(type)) EndRun();
  m_cursor.Obey(sequence);
  if (type == ptx::kAbsoluteMoveInline && m_last) m_last->moved = true;
}

// What changes neither the place nor the moves.
bool TextRuns::ObeyStyle(const ControlSequence& sequence) {
  const std::string_view parameters = sequence.parameters;
  constexpr size_t colorSpace = 1, colorSizes = 6;
  switch (sequence.Type()) {
    case ptx::kSetFont:
      EndRun();
      if (!parameters.empty()) SetFont(static_cast<unsigned char>(parameters[0]));
      return true;
    case ptx::kSetTextColor:
      EndRun();
      m_style.color = NamedColor(static_cast<uint16_t>(GetBig(parameters, 0, 2)));
      return true;
    case ptx::kSetExtendedColor: {
      EndRun();
      if (parameters.size() < colorSizes) return true;
      const std::string_view sizes = parameters.substr(colorSizes);
      const std::optional<ColorValue> color =
          ColorOf(static_cast<uint8_t>(parameters[colorSpace]),
                  ByteSpan(reinterpret_cast<const unsigned char*>(sizes.data()), sizes.size()));
      if (color) m_style.color = ColorOf(*color);
      return true;
    }
    case ptx::kUnderscore: {
      constexpr int64_t bypasses = 0x0F;
      EndRun();
      m_style.underlined = (GetBig(parameters, 0, 1) & bypasses) != 0;
      return true;
    }
    case ptx::kSetVariableSpace:
      EndRun();
      m_style.blank = parameters.size() < 2 || IsDefault(parameters)
                          ? -1
                          : std::max<double>(SignedNumber(parameters), 0) * m_cursor.InlinePoints();
      return true;
    case ptx::kSetAdjustment:
      EndRun();
      AdjustCharacters(parameters);
      return true;
    case ptx::kTemporaryMove:
      EndRun();
      MoveTemporarily(parameters);
      return true;
    case ptx::kInlineRule:
    case ptx::kBaselineRule:
      EndRun();
      Draw(parameters, sequence.Type() == ptx::kInlineRule);
      return true;
    default:
      return false;
  }
}

void TextRuns::Repeat(std::string_view parameters) {
  constexpr size_t header = 2;
  const std::string_view string = parameters.substr(std::min(parameters.size(), header));
  if (string.empty()) return;
  auto left = std::min(static_cast<size_t>(GetBig(parameters, 0, header)),
                       kMostRepeated - std::min(kMostRepeated, m_repeated));
  m_repeated += left;
  while (left > 0 && !m_full) {
    const size_t count = std::min(left, string.size());
    if (m_bytes.size() + count > kLongestRun) EndRun();
    m_bytes += string.substr(0, count);
    left -= count;
  }
}

void TextRuns::MoveTemporarily(std::string_view parameters) {
  constexpr size_t increment = 2;
  constexpr int64_t back = 1, down = 2, up = 3;
  const std::string_view said = parameters.substr(std::min(parameters.size(), increment));
  const bool byDefault = said.size() < 2 || IsDefault(said);
  const double move = byDefault ? m_cursor.Increment() / 2 : SignedNumber(said);
  const int64_t direction = GetBig(parameters, 0, 1);
  if (direction == back) m_cursor.MoveTemporarily(0);
  if (direction == down) m_cursor.MoveTemporarily(m_cursor.TemporaryMove() + move);
  if (direction == up) m_cursor.MoveTemporarily(m_cursor.TemporaryMove() - move);
}

void TextRuns::AdjustCharacters(std::string_view parameters) {
  constexpr size_t direction = 2;
  const bool less = GetBig(parameters, direction, 1) == 1;
  const double units =
      parameters.size() < 2 || IsDefault(parameters) ? 0 : SignedNumber(parameters);
  m_style.adjustment = (less ? -units : units) * m_cursor.InlinePoints();
}

// A rule goes from the current place in the direction of its length, and grows wide in the
// other one.
void TextRuns::Draw(std::string_view parameters, bool alongLine) {
  constexpr size_t width = 2, fraction = 4;
  if (parameters.size() < 2) return;
  const double length = SignedNumber(parameters);
  const std::string_view said = parameters.substr(width);
  const double widthUnit = alongLine ? m_cursor.BaselinePoints() : m_cursor.InlinePoints();
  const double byDefault = kRuleWidth / widthUnit;
  const double wide =
      said.size() < 2 || IsDefault(said)
          ? byDefault
          : SignedNumber(said) + static_cast<double>(GetBig(parameters, fraction, 1)) / 256;
  const double along = alongLine ? length : wide;
  const double across = alongLine ? wide : length;
  const Placement from = m_frame.Then(m_cursor.X(), m_cursor.Y(), 0);
  const Placement to = m_frame.Then(m_cursor.X(along, across), m_cursor.Y(along, across), 0);
  const PageRectangle at = {std::min(from.x, to.x), std::min(from.y, to.y), std::abs(to.x - from.x),
                            std::abs(to.y - from.y)};
  if (!m_uses.takeRule({at, m_style.color})) m_full = true;
}

void TextRuns::SetFont(unsigned font) {
  const RunFont run = m_uses.font(font);
  m_font = font;
  m_style.face = run.face;
  m_style.bold = run.bold;
  m_style.italic = run.italic;
  m_style.size = run.size;
}

void TextRuns::EndRun() {
  if (m_bytes.empty()) return;
  std::string text = m_uses.decode(m_bytes, m_font, false);
  m_bytes.clear();
  PutText(std::move(text));
}

void TextRuns::PutText(std::string text) {
  text = Printable(text, Unprintable::Blank, kDirections);
  size_t end = 0;
  for (size_t at = 0; at < text.size() && !m_full; at = end) {
    end = std::min(at + kLongestRun, text.size());
    while (end < text.size() && !StartsCharacter(text[end])) ++end;
    std::string run = text.substr(at, end - at);
    const double width = WidthOf(run, m_style, m_uses.measure);
    Put(std::move(run), width);
  }
}

void TextRuns::Put(std::string&& text, double width) {
  PlacedText run;
  run.text = std::move(text);
  const int rotation = DegreesOf(m_cursor.Orientation());
  const bool level = m_cursor.Orientation().inlineX != 0;
  const LastRun here = {m_cursor.Inline(), level ? m_cursor.Y() : m_cursor.X(), rotation, false};
  if (m_last && m_last->moved && m_last->rotation == rotation && m_last->across == here.across &&
      m_last->along < here.along) {
    m_uses.limitLast((here.along - m_last->along) * m_cursor.InlinePoints());
  }
  m_last = here;
  run.at = m_frame.Then(m_cursor.X(), m_cursor.Y(), rotation);
  run.style = m_style;
  run.advance = width;
  if (!m_uses.takeText(std::move(run))) m_full = true;
  m_cursor.Advance(width / m_cursor.InlinePoints());
}

}  // namespace kz
