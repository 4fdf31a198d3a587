// Where the images of a document stand, whatever its size.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Toolkit/Documents/Document.h"
#include "Toolkit/Files/FileWindow.h"

namespace kz {

struct ImagePlaces {
  std::vector<ImagePlace> places;
  Outcome structure;  // what ended the walk before the document's end, if anything did
};

// Walks over the structured fields of a document from a position on, until its end or
// until `most` images are found.
ImagePlaces FindImagePlaces(FileWindow& file, int64_t from, size_t most = SIZE_MAX);

}  // namespace kz
