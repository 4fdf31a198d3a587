// The parts of a document that have outputs of their own.
#pragma once

#include <string>
#include <vector>

#include "Toolkit/Convert/OutputNames.h"
#include "Toolkit/Documents/Document.h"

namespace kz {

// A picture and the page that it is wanted for; 0: none.
struct PartPicture {
  ShownPicture shown;
  int page = 0;
};

struct OutputPart {
  size_t number = 1;  // of the page or group
  uint32_t group = kNoIndex;
  int firstPage = 0;  // 0: the part is pictures of a file without pages
  int pages = 0;
  int picture = 0;  // the only one, then; 0: all of them
};

// A part for the document, for each page, or for each outermost group; pages in no group that
// follow each other are a part, too. In a file without pages each picture counts as a page.
std::vector<OutputPart> FindParts(const Document& document, OutputPer per);

// The pictures of a part: those of its pages in their order, each once, but that a page which
// shows nothing new shows its pictures again. `without` are the pages without a picture.
// Beyond PageIndex::kMostShownInAll there are no more.
std::vector<PartPicture> PicturesOf(const Document& document, const OutputPart& part,
                                    std::vector<int>& without);

// The name of the part's group, for people; "ungrouped" for none.
std::string GroupName(const Document& document, const OutputPart& part);

}  // namespace kz
