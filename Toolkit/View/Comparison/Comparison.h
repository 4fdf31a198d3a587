// What two documents don't have in common: pages, pictures, text and structure.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Documents/Document.h"

namespace kz {

enum class Aspect : uint8_t {
  kPages,      // how many, and their sizes
  kPictures,   // their pixels, however they are coded, and their places
  kText,       // its words, places and fonts, and rules
  kStructure,  // structured fields, but for the data of pictures and text; groups and tags
};
struct AspectRow {
  Aspect aspect;
  const char* name;  // "pages"
};
inline constexpr AspectRow kAspects[] = {{Aspect::kPages, "pages"},
                                         {Aspect::kPictures, "pictures"},
                                         {Aspect::kText, "text"},
                                         {Aspect::kStructure, "structure"}};

struct Difference {
  Aspect aspect = Aspect::kPages;
  std::string what;  // one line: "picture 1: 5 of 64 pixels differ, ..."
  // Of each file: the picture, counted from 1, and the offset of the field; 0 and -1: none.
  int pictureA = 0;
  int pictureB = 0;
  int64_t offsetA = -1;
  int64_t offsetB = -1;
  // How many pixels of a picture have another colour, and the rectangle around them.
  int64_t pixels = 0;
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;
};

// Pages that belong together, from these numbers on, or, 0 of one document, are only in the
// other. Both 0: what isn't of any page.
struct ComparedPages {
  int a = 0;
  int b = 0;
  int count = 1;  // above 1 only without `differences`
  std::vector<Difference> differences;
  bool IsPair() const { return a > 0 && b > 0; }
};

struct CompareOptions {
  // What is compared; all when empty.
  std::vector<Aspect> aspects = {};
  // The pages that are compared, all when empty; what isn't of any page doesn't count then.
  std::vector<int> pagesA = {};
  std::vector<int> pagesB = {};
  LoadOptions load = {};
  unsigned threads = 0;  // 0: as many as there are processors
};

struct CompareSummary {
  int pagesA = 0;
  int pagesB = 0;
  int same = 0;  // pages in both
  int different = 0;
  int onlyA = 0;
  int onlyB = 0;
  int differences = 0;  // of what isn't of any page
  bool Same() const { return different + onlyA + onlyB + differences == 0; }
};

// Takes the next pages, in order, those that are the same too; false ends the comparison.
using TakeComparedPages = std::function<bool(const ComparedPages& pages)>;

// Compares two documents, which must be open. Pages are aligned, so that those that were inserted
// or removed leave the others as they are. For each thread two pages with their pictures are in
// memory; else a few dozen bytes for each page. Of a page and aspect some differences are told,
// and how many more there are. Fails with -10 and -7 when a file can't be read, and -1 for no
// memory; what was taken until then is true.
K_EXPORT Outcome CompareDocuments(const Document& a, const Document& b,
                                  const CompareOptions& options, const TakeComparedPages& take,
                                  CompareSummary& summary);

}  // namespace kz
