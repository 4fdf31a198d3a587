#include "Toolkit/View/Drawing/TextSetter.h"

#include <algorithm>

namespace kz {

namespace {

constexpr double kPangoPoint = PANGO_SCALE;

// In Pango's units, which are whole numbers: at most a hundred inches.
int PangoUnits(double points) {
  constexpr double most = 7200;
  return static_cast<int>(std::clamp(points, -most, most) * kPangoPoint);
}

// Those with the widths of the fonts that documents use most come first.
const char* FamiliesOf(Face face) {
  switch (face) {
    case Face::Serif:
      return "Liberation Serif,Tinos,Times New Roman,serif";
    case Face::Sans:
      return "Liberation Sans,Arimo,Arial,sans-serif";
    case Face::Mono:
      return "Liberation Mono,Cousine,Courier New,monospace";
  }
  return "";
}

}  // namespace

TextSetter::TextSetter()
    : m_fonts(pango_cairo_font_map_new()),
      m_context(pango_font_map_create_context(m_fonts.get())),
      m_layout(pango_layout_new(m_context.get())) {
  constexpr double unitsPerInch = 72;
  pango_cairo_context_set_resolution(m_context.get(), unitsPerInch);
  // Widths are the same at all sizes and on all surfaces.
  cairo_font_options_t* options = cairo_font_options_create();
  cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
  cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
  pango_cairo_context_set_font_options(m_context.get(), options);
  cairo_font_options_destroy(options);
  pango_context_set_round_glyph_positions(m_context.get(), FALSE);
  pango_layout_context_changed(m_layout.get());
  pango_layout_set_single_paragraph_mode(m_layout.get(), TRUE);
  pango_layout_set_auto_dir(m_layout.get(), FALSE);
  // Characters of presentation text are as wide as they are by themselves, and copied as such.
  PangoAttrList* attributes = pango_attr_list_new();
  pango_attr_list_insert(attributes, pango_attr_font_features_new("kern=0, liga=0, clig=0"));
  pango_layout_set_attributes(m_layout.get(), attributes);
  pango_attr_list_unref(attributes);
}

PangoLayoutLine* TextSetter::Set(std::string_view text, const TextStyle& style) {
  const PangoFont font(pango_font_description_new());
  pango_font_description_set_family_static(font.get(), FamiliesOf(style.face));
  pango_font_description_set_weight(font.get(),
                                    style.bold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL);
  pango_font_description_set_style(font.get(),
                                   style.italic ? PANGO_STYLE_ITALIC : PANGO_STYLE_NORMAL);
  constexpr double largest = 2000;
  pango_font_description_set_absolute_size(font.get(),
                                           std::clamp(style.size, 0.5, largest) * kPangoPoint);
  pango_layout_set_font_description(m_layout.get(), font.get());
  pango_layout_set_text(m_layout.get(), text.data(), static_cast<int>(text.size()));
  return pango_layout_get_line(m_layout.get(), 0);
}

double TextSetter::Measure(std::string_view text, const TextStyle& style) {
  PangoRectangle logical = {};
  PangoLayoutLine* line = Set(text, style);
  if (line != nullptr) pango_layout_line_get_extents(line, nullptr, &logical);
  return logical.width / kPangoPoint;
}

// Gives blanks and characters the widths that the document asks for; how wide all is then.
double TextSetter::Spread(PangoLayoutLine* line, const char* text, const TextStyle& style) {
  const auto adjustment = PangoUnits(style.adjustment);
  double width = 0;
  for (GSList* at = line->runs; at != nullptr; at = at->next) {
    auto* run = static_cast<PangoLayoutRun*>(at->data);
    PangoGlyphItemIter iter;
    for (gboolean more = pango_glyph_item_iter_init_start(&iter, run, text); more != FALSE;
         more = pango_glyph_item_iter_next_cluster(&iter)) {
      const int step = iter.start_glyph < iter.end_glyph ? 1 : -1;
      PangoGlyphInfo* last = &run->glyphs->glyphs[iter.end_glyph - step];
      if (text[iter.start_index] != ' ') {
        last->geometry.width += adjustment;
      } else if (style.blank >= 0) {
        last->geometry.width = PangoUnits(style.blank);
      }
    }
    for (int i = 0; i < run->glyphs->num_glyphs; ++i) {
      PangoGlyphInfo& info = run->glyphs->glyphs[i];
      width += info.geometry.width / kPangoPoint;
      // What no font has would be drawn as a box with numbers, and be found as these: the
      // font's own box stands for the character.
      if ((info.glyph & PANGO_GLYPH_UNKNOWN_FLAG) != 0) info.glyph = 0;
    }
  }
  return width;
}

void TextSetter::Draw(cairo_t* cairo, const PlacedText& text) {
  PangoLayoutLine* line = Set(text.text, text.style);
  if (line == nullptr) return;
  const double width = Spread(line, pango_layout_get_text(m_layout.get()), text.style);
  const double condensed = text.room > 0 && width > text.room ? text.room / width : 1;
  const Placement x = Placement{0, 0, text.at.rotation}.Then(1, 0, 0);
  cairo_save(cairo);
  const cairo_matrix_t matrix = {x.x, x.y, -x.y, x.x, text.at.x, text.at.y};
  cairo_transform(cairo, &matrix);
  cairo_scale(cairo, condensed, 1);
  if (text.style.underlined) {
    constexpr double below = 0.11, thick = 0.06;
    cairo_rectangle(cairo, 0, below * text.style.size, width, thick * text.style.size);
    cairo_fill(cairo);
  }
  cairo_move_to(cairo, 0, 0);
  pango_cairo_show_layout_line(cairo, line);
  cairo_restore(cairo);
}

}  // namespace kz
