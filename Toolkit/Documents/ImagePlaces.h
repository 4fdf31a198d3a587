// Where the images of a document stand, whatever its size.
#pragma once

#include <string>
#include <vector>

#include "Toolkit/Documents/Document.h"

namespace kz {

struct ImagePlaces {
  std::vector<ImagePlace> places;
  Outcome structure;  // what ended the walk before the document's end, if anything did
};

// Walks over all structured fields of a document from a position on. Fails with -10
// when the file can't be opened.
Outcome FindImagePlaces(const std::string& file, int64_t from, ImagePlaces& found);

}  // namespace kz
