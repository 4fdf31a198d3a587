// A page's description and image data, read with the filter's own readers.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "API/Filters/Ica/Common/Ica.h"
#include "Toolkit/Documents/Document.h"
#include "Toolkit/Imaging/JpegFrame.h"

namespace kz {

// The failure of a page that isn't there; `last` may be 0 when it isn't known.
Outcome NoSuchPage(int last);

// One open file. The calling thread must not load or describe anything else
// between DescribePage and the reading of the data.
class PageReader {
 public:
  PageReader() = default;
  ~PageReader();
  PageReader(const PageReader&) = delete;
  PageReader& operator=(const PageReader&) = delete;

  Outcome Open(const std::string& file);
  // Leaves the file at the page's image data.
  Outcome DescribePage(int page, bool countPages, PageInfo& info);
  // Reads the image data of the page described into `data`, until `limit` bytes
  // or more are there.
  Outcome ReadImageData(std::vector<unsigned char>& data, size_t limit = SIZE_MAX);
  // Counts the rest of the image data of the page described.
  Outcome CountImageData(uint64_t& bytes);
  // Reads as much as finding the frame header of the page's JPEG data takes.
  Outcome ReadJpegFrame(JpegFrame& frame);

  // Whether a document that was described is whole.
  Outcome CheckStructure() const;

 private:
  // Finds words for a description that failed.
  Outcome ExplainFailure(int status);
  // Reads how the rows of an uncompressed page are laid out.
  Outcome FindRecording(int page, PageInfo& info);
  Outcome ReadPiece(unsigned char* to, unsigned count, int& got, bool& end);

  std::string m_name;
  tagHANDLE* m_file = K_InvalidHandle();
  int m_size = 0;
};

}  // namespace kz
