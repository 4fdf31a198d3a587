// A page's description and image data: the page as the filter describes it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "API/Filters/Ica/Common/Ica.h"
#include "Toolkit/Documents/Document.h"
#include "Toolkit/Documents/ImageSegment.h"
#include "Toolkit/Imaging/JpegFrame.h"

namespace kz {

// The failure of a page that isn't there; `last` may be 0 when it isn't known.
Outcome NoSuchPage(int last);

// One open file.
class PageReader {
 public:
  PageReader() = default;
  ~PageReader();
  PageReader(const PageReader&) = delete;
  PageReader& operator=(const PageReader&) = delete;

  Outcome Open(const std::string& file);
  // What the filter says of a page, and how its data are laid out. With `countPages`
  // whether the document is whole as well.
  Outcome DescribePage(int page, bool countPages, PageInfo& info);

  // The image data of the page described.
  // Reads them into `data`, until `limit` bytes or more are there.
  Outcome ReadImageData(std::vector<unsigned char>& data, size_t limit = SIZE_MAX);
  // Counts the rest of them.
  Outcome CountImageData(uint64_t& bytes);
  // Reads as much as finding the frame header of JPEG data takes.
  Outcome ReadJpegFrame(JpegFrame& frame);

 private:
  // Finds words for a description that failed.
  Outcome ExplainFailure(int status);
  // Whether a document is whole.
  Outcome CheckStructure();
  bool IsBare();
  // Goes to the image data of a page that the filter has described.
  Outcome OpenSegment();

  tagHANDLE* m_file = K_InvalidHandle();
  FileWindow m_window;
  int m_page = 0;
  std::optional<ImageSegment> m_segment;
  Container m_container = Container::Ioca;
  StoredLayout m_layout;
};

}  // namespace kz
