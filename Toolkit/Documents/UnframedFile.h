// Documents whose records another system framed, read through.
#pragma once

#include <string>

#include "Format/RecordFraming.h"
#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Files/SpoolFile.h"

namespace kz {

// Says how a file's records are framed, by its first kFramingRoom bytes. -10 for what
// isn't a regular file that can be opened, -7 when reading fails; it is unframed then.
K_EXPORT Outcome FindFraming(const std::string& file, Framing& framing);

// A file that can be read as if its records had no framing.
class K_EXPORT UnframedFile {
 public:
  // Looks at a file and copies the document in it, whatever its size, when it is framed.
  // Fails like FindFraming, or with -14 or -5 when the copy can't be written. Where the
  // framing breaks off, the bytes up to the next record stay as they are, with a warning
  // that says where.
  Outcome Open(const std::string& file);
  // How the file is framed.
  const Framing& Found() const { return m_framing; }
  // The file itself, or the copy, which goes with the object.
  const std::string& Path() const { return m_path; }

 private:
  Framing m_framing;
  SpoolFile m_copy;
  std::string m_path;
};

}  // namespace kz
