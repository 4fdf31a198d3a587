// What JPEG data say of themselves to those who pass them on.
#pragma once

#include <cstdint>

#include "Toolkit/Images/Coders/CodedRows.h"

namespace kz {

struct JpegMarks {
  int width = 0;  // pixels
  int height = 0;
  int components = 0;
  int xResolution = 0;  // dots per inch of the JFIF header; 0: not known
  int yResolution = 0;
  bool adobe = false;       // has Adobe's marker
  bool hasProfile = false;  // of ICC
  // Every reader makes the same colours of them: 8 bits in Huffman codes, no markers that
  // contradict each other.
  bool plain = false;
};

// Reads the header. False when it is damaged, or the picture is larger than maxPixels or than so
// few data can hold.
bool ReadJpegMarks(CodedBytes data, int64_t maxPixels, JpegMarks& marks);

// Decodes without keeping anything. False for data in which anything is wrong.
bool IsWholeJpeg(CodedBytes data, int64_t maxPixels);

}  // namespace kz
