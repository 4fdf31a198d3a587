// A file without a name of its own, for what is written and read again.
#pragma once

#include <string>

#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Files/FileDescriptor.h"

namespace kzica {

class SpoolFile {
 public:
  // Makes it in the folder that TMPDIR names, else in /tmp, else in memory. -14 when
  // that fails. It goes with the object or the process.
  kz::Outcome Open();
  // By which it can be opened as long as it is there.
  const std::string& Path() const { return m_path; }
  int Descriptor() const { return m_file.Get(); }

 private:
  kz::OwnedDescriptor m_file;
  std::string m_path;
};

}  // namespace kzica
