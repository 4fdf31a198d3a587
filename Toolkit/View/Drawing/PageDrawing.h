// Pages drawn on any surface of Cairo's.
#pragma once

#include <list>
#include <string>
#include <vector>

#include "Toolkit/View/Drawing/PictureSurface.h"
#include "Toolkit/View/Drawing/TextSetter.h"
#include "Toolkit/View/PageLayout.h"

namespace kz {

// How text is drawn. Under is what can be found and copied but not seen: white on the paper,
// under all else.
enum class TextDrawing : uint8_t { Shown, Under, None };

class PageDrawing {
 public:
  PageDrawing(LoadOptions load, TextDrawing text) : m_load(std::move(load)), m_text(text) {}

  TextSetter& Texts() { return m_texts; }
  // Draws a page with a point for a unit on a surface, with `passJpeg` one that carries JPEG
  // data as they are; what lies outside of it isn't drawn. Warns of pictures that
  // can't be drawn, for which a box stands.
  void Draw(cairo_t* cairo, bool passJpeg, const PageLayout& layout,
            std::vector<std::string>& warnings);

 private:
  // A picture that was drawn last, or why it can't be.
  struct Loaded {
    ShownPicture shown;
    bool passJpeg = false;
    PictureSurface picture;
    Outcome outcome;
  };
  const Loaded& Load(const ShownPicture& shown, bool passJpeg);
  void Picture(cairo_t* cairo, const PlacedPicture& placed, const PageRectangle& page,
               std::vector<std::string>& warnings);
  void Box(cairo_t* cairo, const PlacedBox& box, const PageRectangle& page);

  LoadOptions m_load;
  TextDrawing m_text;
  TextSetter m_texts;
  bool m_passJpeg = false;     // to the page's surface
  std::list<Loaded> m_loaded;  // the newest first
};

}  // namespace kz
