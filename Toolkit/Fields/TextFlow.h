// The lines of a page's presentation text.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Format/ControlSequence.h"
#include "Toolkit/Fields/TextCursor.h"
#include "Toolkit/Fields/TextLine.h"

namespace kz {

class TextFlow {
 public:
  // Makes UTF-8 of text in a font; `unicode` that it is Unicode in any font.
  using Decode = std::function<std::string(std::string_view bytes, unsigned font, bool unicode)>;
  explicit TextFlow(Decode decode) : m_decode(std::move(decode)) {}

  // Begins a text object.
  void Begin(const TextSpace& space);
  // Adds the data of a Presentation Text Data field of the object. Null, or what is wrong
  // with a control sequence of theirs and where it begins.
  const char* Add(std::string_view data, size_t& offset);
  // The lines of all text objects since the last call: by their baselines, what is
  // written in another direction after all that isn't.
  std::vector<TextLine> TakeLines();

 private:
  struct Piece : TextPiece {
    size_t order = 0;
    size_t orientation = 0;
    double along = 0;   // points in the direction of the line
    double across = 0;  // and from line to line
  };

  void Obey(const ControlSequence& sequence);
  void MoveAfterText(int64_t move);
  void Repeat(std::string_view parameters);
  void Put(std::string_view bytes);
  void PutPiece(std::string text);
  void EndPiece();

  Decode m_decode;
  TextCursor m_cursor;
  unsigned m_font = 0;
  bool m_exact = true;    // nothing was written since the inline position was known
  bool m_apart = true;    // what follows doesn't touch what was written
  std::string m_bytes;    // of the piece that has begun
  size_t m_repeated = 0;  // bytes on the page
  std::vector<TextOrientation> m_orientations;
  std::vector<Piece> m_pieces;
};

}  // namespace kz
