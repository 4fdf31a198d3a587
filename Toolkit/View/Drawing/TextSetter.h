// Text set in fonts that stand in for those of a document.
#pragma once

#include <string_view>

#include "Toolkit/View/Drawing/CairoHandles.h"
#include "Toolkit/View/Layout/PageLayout.h"

namespace kz {

class TextSetter {
 public:
  TextSetter();

  // Width of a text, points.
  double Measure(std::string_view text, const TextStyle& style);
  // Draws a text in its style and place, condensed where it has less room than it takes; in
  // the current colour.
  void Draw(cairo_t* cairo, const PlacedText& text);

 private:
  PangoLayoutLine* Set(std::string_view text, const TextStyle& style);
  static double Spread(PangoLayoutLine* line, const char* text, const TextStyle& style);

  PangoObject<PangoFontMap> m_fonts;
  PangoObject<PangoContext> m_context;
  PangoObject<PangoLayout> m_layout;
};

}  // namespace kz
