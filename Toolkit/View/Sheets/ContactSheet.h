// Sheets of thumbnails: what pages look like, at a glance.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Documents/Document.h"

namespace kz {

enum class SheetFormat : uint8_t { kPng, kPdf };

struct SheetOptions {
  // Thumbnails side by side; 0: six on a png, on a pdf four, or as many of a size as fit.
  int columns = 0;
  // How wide a thumbnail may be, pixels of a png or points of a pdf; 0: 200 pixels, or what the
  // columns leave. It may be higher than wide as A4 paper is.
  int size = 0;
  unsigned threads = 0;  // 0: as many as there are processors
  LoadOptions load = {};
  std::string title = {};  // of pdf files; empty: none
  // Is asked before a file is written; a failure ends the run. May be empty.
  std::function<Outcome(const std::string& out)> mayWrite = {};
};

// A page whose thumbnail is wanted, counted from 1, and what its document is called there; empty:
// the number says enough.
struct SheetPage {
  const Document* document = nullptr;
  int page = 0;
  std::string name = {};
};

// What became of a page: its warnings.
using SheetPageTold = std::function<void(const SheetPage& page, const Outcome& outcome)>;

// Draws thumbnails on several threads, with two in memory for each besides those of the sheet.
// A png is one sheet as high as it takes, or, when its name has a place for a number (see
// NumberedName), the first of several that are numbered; sheets of a pdf are A4 paper, or larger
// if `columns` and `size` ask for more.
class K_EXPORT ContactSheet {
 public:
  static constexpr int kLeastSize = 16;
  static constexpr int kMostSize = 2000;
  static constexpr int kMostColumns = 100;
  // Pixels of a png.
  static constexpr int64_t kMostPixels = int64_t{1} << 25;

  // Options out of these limits are taken as the nearest within them.
  explicit ContactSheet(SheetOptions options);
  ~ContactSheet();
  ContactSheet(const ContactSheet&) = delete;
  ContactSheet& operator=(const ContactSheet&) = delete;

  // Begins a file, completed by Commit; "-" is standard output. Fails as AtomicFile::Open does.
  Outcome Open(const std::string& out, SheetFormat format);
  // Adds the thumbnails of pages, whose documents must be open until it returns. One that can't
  // be drawn leaves a marked frame and a warning. Fails when a png becomes too large (-9), as
  // `mayWrite` does, with -5 and -14 when a sheet can't be written and with -1 for no memory.
  Outcome Add(const std::vector<SheetPage>& pages, const SheetPageTold& told);
  // Completes the last sheet. Without it there is no file but for numbered sheets that were full.
  // Fails as Add, and with -9 when there is no page.
  Outcome Commit();
  // The sheets that were completed.
  int Sheets() const;

 private:
  class Shared;
  std::unique_ptr<Shared> m_shared;
};

}  // namespace kz
