// A file that is drawn, put into place when it is complete; or standard output, which gets it
// then.
#pragma once

#include <cstddef>
#include <string>

#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Files/AtomicFile.h"
#include "Toolkit/Files/SpoolFile.h"

namespace kz {

class RenderedFile {
 public:
  // Begins a file; "-" is standard output. Fails as AtomicFile and SpoolFile do.
  Outcome Open(const std::string& out, FileBatch* batch);
  // Adds bytes; false when that failed, now or before.
  bool Write(const void* bytes, size_t count);
  // Whether all bytes could be written; -5 when not.
  Outcome Written() const;
  // Puts it into place.
  Outcome Commit();

 private:
  bool m_standard = false;
  AtomicFile m_file;
  SpoolFile m_spool;
  int m_error = 0;
};

}  // namespace kz
