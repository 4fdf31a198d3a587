// A sound document of all that can be read of a damaged one.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Documents/PageIndex.h"

namespace kz {

class PieceList;

// Bytes of a file that its repair leaves out.
struct LeftOutBytes {
  int64_t offset = 0;
  int64_t length = 0;
  int page = 0;  // of the damaged file, that they stood in; 0: in none
};

// Sound pages, whole resources and what stands between pages are kept byte for byte, in
// their order. A damaged page keeps its sound fields, but for the data of pictures that
// can't be loaded any more, and what damage left open in it is closed. Begin Document, End Document
// and ends of groups are added where they are missing.
class K_EXPORT Repair {
 public:
  Repair();
  ~Repair();
  Repair(const Repair&) = delete;
  Repair& operator=(const Repair&) = delete;

  // Looks at an indexed file (see IndexFile), whose index must stay. Pictures of more than
  // `maxPixels` count as lost where damage is. -7 or -9 when it can't be read or has changed
  // since it was indexed.
  Outcome Plan(const PageIndex& index, int64_t maxPixels = kDefaultMaxPixels);
  // Whether there is damage; otherwise the result is the file as it is. A bare image is
  // never changed.
  bool Needed() const { return m_needed; }
  const std::vector<LeftOutBytes>& LeftOut() const { return m_leftOut; }
  // Pages of the result.
  int Pages() const { return m_pages; }
  // Writes the result completely or leaves what was there; `out` may be the file. Fails
  // like WriteDocument.
  Outcome Write(const std::string& out);
  // The same, written at the position of a descriptor, which may be a pipe.
  Outcome Write(int descriptor);

 private:
  const PageIndex* m_index = nullptr;
  std::unique_ptr<PieceList> m_pieces;
  std::vector<LeftOutBytes> m_leftOut;
  bool m_needed = false;
  int m_pages = 0;
};

}  // namespace kz
