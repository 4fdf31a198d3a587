// The image segment of a picture, read from the Image Picture Data fields that hold it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "Format/FieldScan.h"
#include "Format/SelfDefiningField.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Files/FileWindow.h"

namespace kz {

// How the Image Encoding field says that the data are laid out.
struct StoredLayout {
  bool reversedBits = false;  // in each byte
  bool unpaddedRows = false;  // rows begin within bytes
  // The IDE Structure field says that the samples are Gray coded or count down from white.
  bool markedSamples = false;
};

class ImageSegment {
 public:
  // `at` is where the first Image Picture Data field begins; of a bare image the
  // segment itself. The file must stay.
  ImageSegment(FileWindow& file, int64_t at, bool bare) : m_file(file), m_at(at), m_bare(bare) {}

  // Reads the fields before the image data, by the rules of the filter. Fails with -7
  // when there are no image data and -9 at a field that the filter doesn't take.
  Outcome FindImageData(StoredLayout& layout);
  // Reads `count` bytes of image data, less at their end only; with a null `to` it passes
  // over them. -7 when the segment ends within them.
  Outcome Read(unsigned char* to, size_t count, size_t& got);

 private:
  // Moves over bytes of the segment. -7 when it has fewer.
  Outcome Take(unsigned char* to, size_t count);
  Outcome NextField();

  FileWindow& m_file;
  int64_t m_at;
  bool m_bare;
  int64_t m_fieldLeft = 0;           // bytes of the Image Picture Data field
  SelfDefiningHeader m_header = {};  // of the self-defining field met last
  unsigned char m_parameters[15] = {};
  size_t m_dataLeft = 0;  // bytes of the Image Data field
};

}  // namespace kz
