// Pages drawn small, on several threads.
#pragma once

#include "Toolkit/View/Drawing/PageImages.h"
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

// Draws thumbnails, also several at a time.
class ThumbnailMaker {
 public:
  // Thumbnails are at most `width` pixels wide and kFrameRatio times as high.
  ThumbnailMaker(LoadOptions load, int width) : m_images(std::move(load)), m_width(width) {}

  // Draws a page; never throws.
  Thumbnail Make(const SheetPage& page);
  // Lets go of all documents.
  void Forget() { m_images.Forget(); }

 private:
  PageImages m_images;
  int m_width;
};

}  // namespace kz
