// Where the pages of a document stand: one pass over the introducers of its fields,
// from which pages can be inserted, replaced, removed and copied.
//
// A page here is what stands between Begin Page and End Page, both included. The
// page numbers of descriptions and loads count image objects instead; the index
// knows where the two differ.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>
#include <vector>

#include "Format/Container.h"
#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Outcome.h"

namespace kz {

// Bytes of a file, from `begin` up to `end`.
struct ByteRange {
  int64_t begin = 0;
  int64_t end = 0;
  int64_t Size() const { return end - begin; }
};

// How many structured fields have the carriage-control byte 0x5A before them.
enum class FieldPrefix { None, Some, All };

struct IndexedPage {
  ByteRange bytes;       // Begin Page, with its 0x5A, to the end of End Page
  int imageObjects = 0;  // in the page
  int firstImage = 0;    // number of its first image object in the file, from 1; 0: none
  FieldPrefix prefix = FieldPrefix::None;
  bool refersToResources = false;  // has Include or Map fields
};

struct K_EXPORT PageIndex {
  std::string file;
  struct stat found = {};  // of the file when it was indexed
  // A bare IOCA file: the one page is the image segment, which is the whole file.
  bool bare = false;
  Container container = Container::Modca;  // by its first field
  std::vector<IndexedPage> pages;
  int imageObjects = 0;  // of the whole file
  // Of the document's fields. End Document doesn't count, since whoever appends
  // pages finds it more easily without.
  FieldPrefix prefix = FieldPrefix::None;
  ByteRange beginDocument;                // of the first document
  ByteRange endDocument;                  // of the first document
  std::vector<ByteRange> resourceGroups;  // that stand outside of pages
  // Page groups or documents begin or end between pages.
  bool divided = false;
  // Where the first page group begins that encloses the first page, or that page,
  // or End Document without any.
  int64_t plainHeadEnd = 0;
  // Where pages after all others go: before the last End Document.
  int64_t appendAt = 0;

  int64_t Size() const { return found.st_size; }
  // What stands before the first page: resource groups, Begin Document and so on.
  // Without a page, all that stands before End Document.
  ByteRange Head() const;
  // What stands after the last page.
  ByteRange Tail() const;
  // Whether image object n is the picture of page n, for all pages.
  bool PagesAreImages() const;
  // In what the pages differ from the image objects, for people: "page 2 has no
  // image"; empty when PagesAreImages().
  std::string NumberingNote() const;
};

// Tells a bare image from a document, with or without 0x5A before its first field, by
// the first bytes of a file. Fails with -10 for a file that can't be opened, -7 for an
// empty one, -9 for what is neither.
K_EXPORT Outcome FindContainer(const std::string& file, Container& container);

// Indexes a file of any size. Fails like FindContainer, with -7 for a file that ends
// too early, -9 for one that isn't a document of pages, each time with the place and
// the reason; `index` is untouched then.
K_EXPORT Outcome IndexPages(const std::string& file, PageIndex& index);

}  // namespace kz
