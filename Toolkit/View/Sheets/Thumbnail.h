// Pages drawn small, on several threads.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Toolkit/View/Drawing/CairoHandles.h"
#include "Toolkit/View/Drawing/PageDrawing.h"
#include "Toolkit/View/PageLayout.h"
#include "Toolkit/View/Sheets/ContactSheet.h"

namespace kz {

// Of a thumbnail's frame, as of A4 paper.
constexpr double kFrameRatio = 1.4142;

struct Thumbnail {
  CairoSurface picture;  // null: the page couldn't be drawn
  // Of it in pixels, or the whole frame's.
  double width = 0;
  double height = 0;
  Outcome outcome;  // why not, or its warnings
};

// Draws thumbnails, also several at a time, with a drawing of its own for each thread.
class ThumbnailMaker {
 public:
  // Thumbnails are at most `width` pixels wide and kFrameRatio times as high.
  ThumbnailMaker(LoadOptions load, int width) : m_load(std::move(load)), m_width(width) {}

  // Draws a page; never throws.
  Thumbnail Make(const SheetPage& page);
  // Lets go of all documents.
  void Forget();

 private:
  struct Drawer {
    const Document* document;
    PageDrawing drawing;
    LayoutReader layouts;
    Drawer(const Document& of, const LoadOptions& load);
  };
  std::unique_ptr<Drawer> Take(const Document& document);
  Outcome Draw(const SheetPage& page, Thumbnail& thumbnail);

  LoadOptions m_load;
  int m_width;
  std::mutex m_mutex;
  std::vector<std::unique_ptr<Drawer>> m_idle;
};

}  // namespace kz
