// Text where it stands on a page.
#pragma once

#include <string>
#include <vector>

#include "Host/Kernel/Export.h"

namespace kz {

// Text of one font between two moves.
struct TextPiece {
  std::string text;    // UTF-8, without ends of lines and pages
  double x = 0;        // points from the top left corner of the page, of where the text was
  double y = 0;        // moved to: a piece that isn't apart goes on after the one before
  unsigned font = 0;   // local identifier, 255 for the default font
  bool apart = false;  // doesn't touch the piece before
};

// What stands on one baseline, in reading order. Never empty.
struct TextLine {
  std::vector<TextPiece> pieces;
  // The text, pieces that don't touch being parted by a blank.
  K_EXPORT std::string Text() const;
};

}  // namespace kz
