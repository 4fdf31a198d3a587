// A file without a name of its own, for what is written and read again.
#pragma once

#include <string>

#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Files/FileDescriptor.h"

namespace kz {

class K_EXPORT SpoolFile {
 public:
  // Makes it in the folder that TMPDIR names, else in /tmp, else in memory. -14 when
  // that fails. It goes with the object or the process.
  Outcome Open();
  // By which it can be opened as long as it is there.
  const std::string& Path() const { return m_path; }
  int Descriptor() const { return m_file.Get(); }

 private:
  OwnedDescriptor m_file;
  std::string m_path;
};

}  // namespace kz
