// Pages as one html file that needs nothing else: what is looked at in a browser.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Toolkit/View/Html/HtmlPicture.h"
#include "Toolkit/View/Layout/PageLayout.h"
#include "Toolkit/View/PageRenderer.h"
#include "Toolkit/View/RenderedFile.h"

namespace kz {

// The file has, in this order: the interface; for each page a script element "page-N" with its
// layout (see PageJson), which nothing runs; "index", what is known of all pages; the script;
// for each picture a script element "picture-N" of base64; and "told", the warnings of
// pictures. So the script runs before the pictures are there, and takes out of the file what
// is to be seen. Pictures of the same data are stored once: others say data-same. Those that
// can't be shown say data-failed.
class HtmlView {
 public:
  // All must outlive the view.
  HtmlView(const Document& document, const RenderOptions& options, LayoutReader& layouts,
           RenderedFile& file);
  // Writes pages, counted from 1. Takes memory for a page, and for two pictures of each core.
  Outcome Write(const std::vector<int>& pages, const PageTold& told);

 private:
  struct Shown {
    ShownPicture picture;
    int page = 0;  // the first that shows it
  };

  void Begin();
  Outcome WritePages(const std::vector<int>& pages, const PageTold& told);
  void WriteIndex(const std::vector<int>& pages);
  void WritePictures(const PageTold& told);
  void WritePicture(size_t number, const HtmlPicture& picture, const PageTold& told);
  size_t NumberOf(const ShownPicture& shown, int page);
  bool Put(std::string_view text);
  void PutElement(std::string_view kind, const std::string& id, std::string_view content);

  const Document& m_document;
  const RenderOptions& m_options;
  LayoutReader& m_layouts;
  RenderedFile& m_file;
  std::vector<std::pair<double, double>> m_sizes;  // of the pages
  std::vector<Shown> m_pictures;                   // by their numbers
  std::map<std::pair<const Document*, int>, size_t> m_numbers;
  std::map<Sha256Digest, size_t> m_stored;  // by the data of pictures
  std::string m_told;                       // warnings of pictures, as JSON
};

}  // namespace kz
