// A sheet's rows of thumbnails, with what stands under each.
#pragma once

#include <string>
#include <vector>

#include "Toolkit/View/Drawing/TextSetter.h"
#include "Toolkit/View/Sheets/Thumbnail.h"

namespace kz {

struct SheetCell {
  Thumbnail thumbnail;
  std::string number;
  std::string name;  // empty: none
};

// All lengths are units of the sheet.
struct SheetRow {
  std::vector<SheetCell> cells;
  double pictureHeight = 0;  // of the highest
  double height = 0;         // with what stands under them
};

struct SheetMeasures {
  int columns = 1;
  double cell = 0;     // width of a thumbnail's frame
  double density = 1;  // pixels of thumbnails for a unit
  double gap = 0;      // between cells
  double margin = 0;   // around all of them
  double font = 0;
  double Width(size_t cells) const {
    const auto count = static_cast<double>(cells);
    return 2 * margin + count * cell + (count - 1) * gap;
  }
};

class SheetDrawing {
 public:
  explicit SheetDrawing(const SheetMeasures& measures) : m_measures(measures) {}
  // Says how high the row is.
  void Measure(SheetRow& row) const;
  // Draws a row whose cells begin at a place.
  void Draw(cairo_t* cairo, const SheetRow& row, double x, double y);
  static void Paint(cairo_t* cairo);

 private:
  void DrawPage(cairo_t* cairo, const Thumbnail& thumbnail, const PageRectangle& at);
  void DrawMark(cairo_t* cairo, const PageRectangle& at);
  void DrawLabel(cairo_t* cairo, std::string text, bool strong, double x, double baseline);

  const SheetMeasures& m_measures;
  TextSetter m_texts;
};

}  // namespace kz
