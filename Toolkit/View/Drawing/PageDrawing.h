// Pages drawn on any surface of Cairo's.
#pragma once

#include <list>
#include <string>
#include <utility>
#include <vector>

#include "Toolkit/View/Drawing/PictureSurface.h"
#include "Toolkit/View/Drawing/TextSetter.h"
#include "Toolkit/View/Layout/PageLayout.h"

namespace kz {

// How text is drawn. Under is what can be found and copied but not seen: white on the paper,
// under all else.
enum class TextDrawing : uint8_t { Shown, Under, None };

class PageDrawing {
 public:
  PageDrawing(LoadOptions load, TextDrawing text) : m_load(std::move(load)), m_text(text) {}

  TextSetter& Texts() { return m_texts; }
  // Pixels of the pictures that are decoded for a page, whose last may be more; and of pixels,
  // how often they are painted over by all but text, or how many pixels are. What a page shows
  // beyond that is boxes, and left out.
  static constexpr int64_t kMostDecoded = int64_t{1} << 31;
  static constexpr double kMostPainted = 8;
  static constexpr double kLeastPainted = 1 << 27;

  // Draws a page with a point for a unit on a surface, on one that `isVector` JPEG data as they
  // are; what lies outside of it isn't drawn. Warns of pictures that can't be drawn, for which a
  // box stands, and of limits that were reached.
  void Draw(cairo_t* cairo, bool isVector, const PageLayout& layout,
            std::vector<std::string>& warnings);

 private:
  // A picture that was drawn last, or why it can't be.
  struct Loaded {
    ShownPicture shown;
    Passing passing = Passing::kNothing;
    PictureSurface picture;
    Outcome outcome;
    CairoSurface tile;     // in colours, for one that repeats
    CairoSurface reduced;  // of so many pixels each has become one; also many tiles
    int reducedX = 1;
    int reducedY = 1;
    bool reducedRepeats = false;
  };
  // What a page is drawn on, and what is left to be done for it.
  struct Sheet {
    bool isVector = false;
    Passing passing = Passing::kNothing;
    PageRectangle drawn;  // around what is on the page by now
    PageRectangle page;
    double scale = 1;  // pixels of a point, if it has pixels
    double paint = 0;  // pixels
    int64_t decoded = 0;
    std::vector<std::string>* warnings = nullptr;
  };
  // A surface whose pixels stand for so many of the picture's.
  struct Source {
    cairo_surface_t* surface = nullptr;
    bool isMask = false;
    int pixelsX = 1;
    int pixelsY = 1;
  };

  Passing PassingOf(const PlacedPicture& placed, const PageRectangle& seen) const;
  Loaded& Load(const PlacedPicture& placed, Passing passing);
  void LimitLoaded();
  std::pair<int, int> ReductionOf(const PictureSurface& picture, const PlacedPicture& placed) const;
  Outcome LoadNew(const ShownPicture& shown, Passing passing, PictureSurface& picture);
  Source SourceOf(Loaded& loaded, const PlacedPicture& placed) const;
  Source TileOf(Loaded& loaded, int x, int y) const;
  bool Spend(const PageRectangle& seen, double perPixel = 1);
  void Warn(std::string what);
  void Item(cairo_t* cairo, const PageItem& item);
  void Text(cairo_t* cairo, const PlacedText& text);
  void Picture(cairo_t* cairo, const PlacedPicture& placed);
  void Box(cairo_t* cairo, const PlacedBox& box);

  LoadOptions m_load;
  TextDrawing m_text;
  TextSetter m_texts;
  Sheet m_sheet;
  std::list<Loaded> m_loaded;  // the newest first
};

}  // namespace kz
