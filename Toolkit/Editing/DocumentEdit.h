// What an edit comes to, whatever it is called: the stretches of a new document in
// their order. One function carries all of them out.
#pragma once

#include <string>
#include <vector>

#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Documents/PageIndex.h"

namespace kz {

class FileBatch;

struct EditPart {
  const PageIndex* source;
  int page;        // one of its pages, counted from 1; 0: bytes that stay what they are
  ByteRange kept;  // which, for page 0
};

// A new document. The indexes must outlive it.
struct DocumentEdit {
  Outcome refusal;  // why there is nothing to be done
  // The document that gives what isn't a page; null for a document of new Begin and
  // End Document fields around the parts.
  const PageIndex* home = nullptr;
  // Kept parts hold pages of the home document, which need its resource groups.
  bool pagesStay = false;
  std::vector<EditPart> parts;
};

// Writes the document completely or leaves what was there; `out` may be one of the
// files that are read. Memory doesn't grow with the size of pages. Returns the edit's
// own refusal, if any; -9 for pages that aren't there and for what can't be (the words
// say why), -7 when a file has changed since it was indexed, -4 when images included
// again and again would take more than 2 GiB, -14 or -5 when `out` can't be written. With
// a batch it is put into place with others.
K_EXPORT Outcome WriteDocument(const DocumentEdit& edit, const std::string& out,
                               FileBatch* batch = nullptr);
// The same, written at the position of a descriptor, which may be a pipe.
K_EXPORT Outcome WriteDocument(const DocumentEdit& edit, int descriptor);
// Whether a document could be written, as far as that shows without writing: fails as
// WriteDocument does before the first byte.
K_EXPORT Outcome CheckDocument(const DocumentEdit& edit);

}  // namespace kz
