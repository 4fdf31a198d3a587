// Pages drawn as pictures, on several threads.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Toolkit/View/Drawing/PageDrawing.h"
#include "Toolkit/View/Layout/PageLayout.h"

namespace kz {

// Draws pages, also several at a time, with a drawing of its own for each thread.
class PageImages {
 public:
  explicit PageImages(LoadOptions load) : m_load(std::move(load)) {}

  // Pixels for a point of a page.
  using ScaleOf = std::function<double(const PageLayout& layout)>;
  // Draws a page on white as a picture of whole pixels. Fails as LayoutReader::Read does and with
  // -1 for no memory. May throw std::bad_alloc.
  Outcome Draw(const Document& document, int page, const ScaleOf& scaleOf, CairoSurface& picture);
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

  LoadOptions m_load;
  std::mutex m_mutex;
  std::vector<std::unique_ptr<Drawer>> m_idle;
};

}  // namespace kz
