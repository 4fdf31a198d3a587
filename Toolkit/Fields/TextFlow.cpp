#include "Toolkit/Fields/TextFlow.h"

#include <algorithm>
#include <cmath>

#include "Format/BigEndian.h"

namespace kz {

namespace {

constexpr unsigned kDefaultFont = 0xFF;
// What is closer is on one baseline, or touches: points.
constexpr double kTouching = 1;
// Of strings that repeat, which could make a gigabyte of a small page. A page has room
// for much less.
constexpr size_t kMaxRepeated = size_t{64} * 1024;

// Blanks in place of what ends lines and pages, and of nothing.
std::string OneLine(std::string text) {
  constexpr std::string_view ends("\n\v\f\r\0", 5);
  for (size_t at = 0; (at = text.find_first_of(ends, at)) != std::string::npos;) text[at] = ' ';
  for (size_t at = 0; (at = text.find("\u0085", at)) != std::string::npos;) {
    text[at] = ' ';
    text.erase(at + 1, 1);
  }
  return text;
}

// What isn't text as a whole may be taken for control characters of both kinds.
std::string WithoutControls(std::string text) {
  std::string kept;
  for (size_t at = 0; at < text.size(); ++at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    const auto next = static_cast<unsigned char>(at + 1 < text.size() ? text[at + 1] : 0);
    if (byte == 0xC2 && next >= 0x80 && next < 0xA0) {
      ++at;
    } else if (byte >= 0x20 && byte != 0x7F) {
      kept += text[at];
    }
  }
  return kept;
}

}  // namespace

std::string TextLine::Text() const {
  std::string line;
  for (const TextPiece& piece : pieces) {
    const bool blank = line.empty() || line.back() == ' ' || piece.text.starts_with(' ');
    if (piece.apart && !blank) line += ' ';
    line += piece.text;
  }
  return line;
}

void TextFlow::Begin(const TextSpace& space) {
  m_cursor.Begin(space);
  m_font = kDefaultFont;
  m_exact = m_apart = true;
  ControlSequences conditions(space.conditions);
  ControlSequence sequence;
  while (conditions.Next(sequence)) {
    const unsigned type = sequence.Type();
    if (type != ptx::kTransparentData && type != ptx::kRepeatString) Obey(sequence);
  }
  m_cursor.EndConditions();
}

const char* TextFlow::Add(std::string_view data, size_t& offset) {
  using enum ControlSequence::Fault;
  const char* fault = nullptr;
  ControlSequences sequences(data);
  ControlSequence sequence;
  while (sequences.Next(sequence)) {
    if (sequence.fault == NoSequence) {
      // Text may stand between sequences; other bytes there are no characters.
      EndPiece();
      const std::string_view bytes = data.substr(sequence.offset, sequence.length);
      PutPiece(WithoutControls(m_decode(bytes, m_font, false)));
      continue;
    }
    if (sequence.fault != None && fault == nullptr) {
      fault = sequence.fault == Cut ? "the field ends within the control sequence"
                                    : "the control sequence has no valid length";
      offset = sequence.offset;
    }
    if (sequence.fault != Length) Obey(sequence);
  }
  // Fonts may be mapped anew before the next field.
  EndPiece();
  return fault;
}

void TextFlow::Obey(const ControlSequence& sequence) {
  const std::string_view parameters = sequence.parameters;
  const unsigned type = sequence.Type();
  if (type == ptx::kTransparentData) return Put(parameters);
  if (type == ptx::kRepeatString) return Repeat(parameters);
  if (type == ptx::kUnicodeText) {
    EndPiece();
    return PutPiece(m_decode(sequence.text, m_font, true));
  }
  if (type == ptx::kSetFont && !parameters.empty()) {
    EndPiece();
    m_font = static_cast<unsigned char>(parameters[0]);
  }
  if (type != ptx::kBeginLine && parameters.size() < 2) return;
  if (type == ptx::kRelativeMoveInline && !m_exact) return MoveAfterText(SignedNumber(parameters));
  if (TextCursor::IsMove(type)) EndPiece();
  m_cursor.Obey(sequence);
  if (type == ptx::kAbsoluteMoveInline || type == ptx::kBeginLine) m_exact = m_apart = true;
}

void TextFlow::MoveAfterText(int64_t move) {
  // How far the text reached isn't known: the piece stays with the one before.
  if (std::abs(static_cast<double>(move) * m_cursor.InlinePoints()) <= kTouching) return;
  EndPiece();
  m_apart = true;
}

void TextFlow::Repeat(std::string_view parameters) {
  constexpr size_t header = 2;
  const std::string_view string = parameters.substr(std::min(parameters.size(), header));
  if (string.empty()) return;
  auto left = std::min(static_cast<size_t>(GetBig(parameters, 0, header)),
                       kMaxRepeated - std::min(kMaxRepeated, m_repeated));
  m_repeated += left;
  while (left > 0) {
    const size_t count = std::min(left, string.size());
    Put(string.substr(0, count));
    left -= count;
  }
}

void TextFlow::Put(std::string_view bytes) {
  m_bytes.append(bytes);
  m_exact = m_exact && bytes.empty();
}

void TextFlow::EndPiece() {
  if (m_bytes.empty()) return;
  PutPiece(m_decode(m_bytes, m_font, false));
  m_bytes.clear();
}

void TextFlow::PutPiece(std::string text) {
  if (text.empty()) return;
  const TextOrientation& o = m_cursor.Orientation();
  Piece piece;
  piece.text = OneLine(std::move(text));
  piece.x = m_cursor.X();
  piece.y = m_cursor.Y();
  piece.along = piece.x * o.inlineX + piece.y * o.inlineY;
  piece.across = piece.x * o.baselineX + piece.y * o.baselineY;
  piece.font = m_font;
  piece.apart = m_apart;
  const auto known = std::find(m_orientations.begin(), m_orientations.end(), o);
  piece.orientation = static_cast<size_t>(known - m_orientations.begin());
  if (known == m_orientations.end()) m_orientations.push_back(o);
  piece.order = m_pieces.size();
  m_pieces.push_back(std::move(piece));
  m_exact = m_apart = false;
}

std::vector<TextLine> TextFlow::TakeLines() {
  EndPiece();
  std::stable_sort(m_pieces.begin(), m_pieces.end(), [](const Piece& a, const Piece& b) {
    return a.orientation != b.orientation ? a.orientation < b.orientation : a.across < b.across;
  });
  std::vector<TextLine> lines;
  for (auto first = m_pieces.begin(); first != m_pieces.end();) {
    const auto last = std::find_if(first, m_pieces.end(), [&](const Piece& piece) {
      return piece.orientation != first->orientation || piece.across > first->across + kTouching;
    });
    std::sort(first, last, [](const Piece& a, const Piece& b) {
      return a.along != b.along ? a.along < b.along : a.order < b.order;
    });
    TextLine& line = lines.emplace_back();
    for (; first != last; ++first) line.pieces.push_back(std::move(*first));
  }
  m_pieces.clear();
  m_orientations.clear();
  m_repeated = 0;
  return lines;
}

}  // namespace kz
