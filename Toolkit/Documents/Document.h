// Pages of image files of the IOCA and MO:DCA family: what they are, and their
// pictures. Pages are counted from 1; a page is an image object of the file.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Format/Compression.h"
#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/Base/Outcome.h"

namespace kz {

class FileWindow;

// What a file says of one of its pages.
struct PageInfo {
  uint32_t format = 0;  // the filter's code for compression and container
  Coding coding = Coding::Fax;
  Container container = Container::Ioca;
  std::string compression;
  int width = 0;  // pixels
  int height = 0;
  int bitsPerPixel = 0;
  int xResolution = 0;  // dots per inch; 0 = not known
  int yResolution = 0;
  int page = 0;
  int pages = 0;       // of the file; 0 when they weren't counted
  uint64_t bytes = 0;  // of the uncompressed picture, rows padded to whole bytes
  bool topDown = true;
  bool reversedBits = false;  // in each byte of the image data
  bool unpaddedRows = false;  // uncompressed rows begin within bytes
  Outcome structure;          // when pages were counted: a damaged field may hide more of them
};

// Describes a page. JPEG data whose depth the page doesn't say are asked for it.
// Counting the pages passes over the whole file, and so does finding one in a file
// beyond 2 GiB. Fails with -10 for a file that can't be opened, -9 for a page that
// isn't there, else with the filter's status; `info` is untouched then.
K_EXPORT Outcome DescribePage(const std::string& file, int page, bool countPages, PageInfo& info);

// The compressed image data of a page as they are stored, without the framing.
// Takes memory for what the file holds, not for what it promises. Fails like
// DescribePage, with -7 for data that end too early and with -1 for no memory.
K_EXPORT Outcome ReadImageData(const std::string& file, int page, std::vector<unsigned char>& data,
                               PageInfo* info = nullptr);

struct LoadOptions {
  int64_t maxPixels = kDefaultMaxPixels;
};

// Loads a page's picture: 1, 4 (ABIC), 8 or 24 (JPEG) bits per pixel, with the
// page's resolution, its rows in stored order under the view perspective that
// makes them right. Uncompressed rows whose bits the page calls reversed are put
// right. JPEG data of another size than the page says have their own size. The
// warnings name damage that the picture shows. `info` is what the page says, with
// the size and depth that the picture has; it may be null.
//
// Fails like DescribePage, with -9 for a picture above the limit, -7 for data that
// end too early, -823 when ABIC can't be decoded for lack of its library, else
// with the filter's status. The bitmap is empty then.
K_EXPORT Outcome LoadPage(const std::string& file, int page, const LoadOptions& options,
                          Bitmap& bitmap, PageInfo* info = nullptr);

// Where a page's image begins, and what kind of container was met up to there.
struct ImagePlace {
  int64_t position;
  Container container;
};

// A file of many pages. With an index, a page is found at once, and all are read from
// the file that was indexed, also when another takes its place; without one, the file
// is walked from its start for every page.
class K_EXPORT Document {
 public:
  explicit Document(std::string file) : m_name(std::move(file)), m_file(m_name) {}

  // Finds all pages in one pass. Fails as describing the first page does, and with -7
  // when there is none.
  Outcome Index();
  // Pages of the file; 0 without an index.
  int Pages() const { return static_cast<int>(m_places.size()); }
  // What walking over the whole file came to: a damaged field may hide pages.
  const Outcome& Structure() const { return m_structure; }

  // As the functions of the same names; -7 when the indexed file was written to.
  Outcome DescribePage(int page, PageInfo& info) const;
  Outcome ReadImageData(int page, std::vector<unsigned char>& data) const;
  Outcome LoadPage(int page, const LoadOptions& options, Bitmap& bitmap,
                   PageInfo* info = nullptr) const;

 private:
  template <typename Read>
  Outcome AtPage(int page, PageInfo* info, Read read) const;

  std::string m_name;
  std::string m_file;  // where the pages are read: with an index, the open file
  std::shared_ptr<const FileWindow> m_open;
  bool m_far = false;  // beyond 2 GiB
  std::vector<ImagePlace> m_places;
  Outcome m_structure;
};

}  // namespace kz
