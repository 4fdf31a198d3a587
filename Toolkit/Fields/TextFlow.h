// The lines of a page's presentation text.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Format/ControlSequence.h"
#include "Toolkit/Fields/TextLine.h"

namespace kz {

// The space that a text object fills: what its descriptor says.
struct TextSpace {
  double xPoints = 0.05;  // a unit in points; if not said, 1440 units are an inch
  double yPoints = 0.05;
  int64_t width = 0;  // units
  int64_t height = 0;
  std::string conditions;  // control sequences that come first
  double x = 0;            // points from the top left corner of the page
  double y = 0;
};

// The unit of a page or text descriptor's data, and its size; false when they are cut.
bool ReadSpace(std::string_view descriptor, TextSpace& space);

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
  // Directions of the lines and from line to line, in the axes of the page.
  struct Orientation {
    int inlineX = 1, inlineY = 0;
    int baselineX = 0, baselineY = 1;
    bool operator==(const Orientation&) const = default;
  };
  struct Piece : TextPiece {
    size_t order = 0;
    size_t orientation = 0;
    double along = 0;   // points in the direction of the line
    double across = 0;  // and from line to line
  };

  void Obey(const ControlSequence& sequence);
  void Orient(std::string_view parameters);
  void MoveInline(int64_t move);
  void Repeat(std::string_view parameters);
  void Put(std::string_view bytes);
  void PutPiece(std::string text);
  void EndPiece();

  Decode m_decode;
  TextSpace m_space;
  Orientation m_orientation;
  int64_t m_inline = 0;  // as far as the moves tell
  int64_t m_baseline = 0;
  int64_t m_margin = 0;
  int64_t m_increment = 0;
  unsigned m_font = 0;
  bool m_exact = true;    // nothing was written since the inline position was known
  bool m_apart = true;    // what follows doesn't touch what was written
  std::string m_bytes;    // of the piece that has begun
  size_t m_repeated = 0;  // bytes on the page
  std::vector<Orientation> m_orientations;
  std::vector<Piece> m_pieces;
};

}  // namespace kz
