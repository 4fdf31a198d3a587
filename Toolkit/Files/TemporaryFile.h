// Files under a passing name beside the one whose place they take.
#pragma once

#include <memory>
#include <string>

#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Files/FileDescriptor.h"

namespace kz {

// A new file that only its owner may open and that is locked while it is in use. One
// that a killed process left behind is removed by RemoveStaleFiles.
class TemporaryFile {
 public:
  TemporaryFile() = default;
  // Removes the file unless it was renamed.
  ~TemporaryFile() { Remove(); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  // Makes it in an opened folder, which must stay open, for the name of a target.
  // -14 when that can't be.
  Outcome Create(int folder, const std::string& target);
  int Descriptor() const { return m_file.Get(); }
  const std::string& Name() const { return m_name; }
  // Puts it in the place of the name; or, with `fresh`, under the name if there is
  // no such file. Returns 0 or an errno value.
  int Rename(const std::string& target, bool fresh);
  void Remove();

 private:
  int m_folder = -1;
  std::string m_name;
  OwnedDescriptor m_file;
  int m_slot = -1;  // where a signal finds it
};

// Removes the files that killed processes left in the folder, whatever their targets,
// once in the process's life for each folder.
void RemoveStaleFiles(int folder);

}  // namespace kz
