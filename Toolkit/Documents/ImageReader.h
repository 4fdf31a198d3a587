// A picture's description and image data: as the filter describes it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "API/Filters/Ica/Common/Ica.h"
#include "Toolkit/Documents/Document.h"
#include "Toolkit/Documents/ImageSegment.h"
#include "Toolkit/Images/Passing/PassedData.h"
#include "Toolkit/Imaging/JpegFrame.h"

namespace kz {

// One open file, whose picture is the first of it, seen from where the FileShift in
// force begins.
class ImageReader {
 public:
  // The window is one of the file that is opened, and must stay.
  explicit ImageReader(FileWindow& window) : m_window(window) {}
  ~ImageReader();
  ImageReader(const ImageReader&) = delete;
  ImageReader& operator=(const ImageReader&) = delete;

  Outcome Open(const std::string& file, Container container);
  // What the filter says of the picture, and how its data are laid out.
  Outcome Describe(PictureInfo& info);

  // Whether the samples mean something else than the filter takes them for, which doesn't
  // look at it.
  bool HasMarkedSamples() const { return m_markedSamples; }

  // The image data.
  // Reads them into `data`, until `limit` bytes or more are there.
  Outcome ReadImageData(std::vector<unsigned char>& data, size_t limit = SIZE_MAX);
  // Counts the rest of them.
  Outcome CountImageData(uint64_t& bytes);
  // All of them and what Describe said, for passing them on. False, unread, when they can't.
  // Fails as Describe does, and with -7 for data that end too early.
  Outcome ReadStored(StoredData& stored, bool& passes);
  // Reads as much as finding the frame header of JPEG data takes.
  Outcome ReadJpegFrame(JpegFrame& frame);

 private:
  tagHANDLE* m_file = K_InvalidHandle();
  FileWindow& m_window;
  Container m_container = Container::Modca;
  std::optional<ImageSegment> m_segment;
  bool m_markedSamples = false;
};

// Loads that picture of a file and a window of it, ABIC data by the codec itself: the filter
// can't tell whether they fit. Damage sets `damaged`, and is a warning, or, of ABIC data that
// the options refuse, a failure.
Outcome LoadFirstPicture(FileWindow& window, const std::string& file, Container container,
                         const LoadOptions& options, Bitmap& bitmap, PictureInfo& info,
                         bool& damaged);

}  // namespace kz
