// Pages as svg, png, pdf and html files.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Documents/Document.h"

namespace kz {

class FileBatch;

enum class RenderFormat : uint8_t { kPng, kPdf, kSvg, kHtml };
// A row of the table of formats.
struct RenderFormatRow {
  RenderFormat format;
  const char* ending;  // of names, without the point
  bool holdsPages;     // more than one
};
inline constexpr RenderFormatRow kRenderFormats[] = {{RenderFormat::kPng, "png", false},
                                                     {RenderFormat::kPdf, "pdf", true},
                                                     {RenderFormat::kSvg, "svg", false},
                                                     {RenderFormat::kHtml, "html", true}};
// The format of a name's ending, in any case; null for another ending.
K_EXPORT const RenderFormatRow* FindRenderFormat(const std::string& name);

enum class RenderedText : uint8_t {
  kShown,
  kInvisible,  // can be found and copied, as with pages that were scanned
  kNone,
};

struct RenderOptions {
  double dpi = 100;  // of png files
  int size = 0;      // pixels of a png's longer side, whatever dpi says; 0: as dpi says
  RenderedText text = RenderedText::kShown;
  LoadOptions load = {};
  std::string title = {};  // of pdf and html files; empty: none
};

// What became of a page: its warnings.
using PageTold = std::function<void(int page, const Outcome& outcome)>;

// Draws the pages of a document, which must stay and be open. Text is set in fonts that stand
// in for the document's own; pdf and html files say so.
class K_EXPORT PageRenderer {
 public:
  // Pixels of a png file.
  static constexpr int64_t kMostPixels = int64_t{1} << 27;

  PageRenderer(const Document& document, RenderOptions options);
  ~PageRenderer();
  PageRenderer(const PageRenderer&) = delete;
  PageRenderer& operator=(const PageRenderer&) = delete;

  // Writes pages, counted from 1, into a file of the format, completely or not at all; "-" is
  // standard output. Only pdf and html files hold more than one page: groups and tags become
  // their outline. With a batch, the file is put into place together with others. Fails with -9
  // for a page that isn't there or whose png would have more than kMostPixels, -16 for several
  // pages in another format, -14 and -5 when the file can't be written, -1 for no memory.
  Outcome Write(const std::vector<int>& pages, RenderFormat format, const std::string& out,
                const PageTold& told, FileBatch* batch = nullptr);

 private:
  class Shared;
  std::unique_ptr<Shared> m_shared;
};

}  // namespace kz
