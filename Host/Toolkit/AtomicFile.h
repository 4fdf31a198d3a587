// Files that are replaced completely or not at all.
#pragma once

#include <string>

#include "Host/Kernel/Export.h"
#include "Host/Toolkit/Outcome.h"

namespace kz {

// A temporary file beside the target that takes its place when it is complete.
// The target may be a symbolic link: the file that it leads to is replaced. Owner
// and mode of an existing file are kept. The temporary file is locked while it is
// in use; one that a killed process left behind goes at the next commit for the
// same target.
class K_EXPORT AtomicFile {
 public:
  AtomicFile() = default;
  // Removes the temporary file unless it was committed.
  ~AtomicFile();
  AtomicFile(const AtomicFile&) = delete;
  AtomicFile& operator=(const AtomicFile&) = delete;

  // Makes an empty temporary file for the target. -14 when that can't be, or when
  // the target exists and isn't a regular file that the caller may write.
  Outcome Open(const std::string& target);
  // Name of the temporary file, for whoever writes it. It may be written by name or
  // cut to zero, but not removed.
  const std::string& Path() const { return m_path; }
  // Descriptor of the temporary file, open for reading and writing.
  int Descriptor() const { return m_descriptor; }
  // Stores the file on the disk and puts it in the target's place. -5 when that
  // fails; the target is then what it was.
  Outcome Commit();
  // Removes the temporary file; the target stays what it was.
  void Discard();

 private:
  Outcome CreateTemporary(int mode);
  void RemoveStale() const;

  std::string m_target;  // after following links
  std::string m_path;
  int m_descriptor = -1;
};

// Makes `to` hold the bytes of `from`; `to` is created, or cut to zero first. -10
// when `from` can't be opened, -14 when `to` can't, -7 or -5 when copying fails.
K_EXPORT Outcome CopyFile(const std::string& from, const std::string& to);

// Appends the whole file behind one descriptor to another, which may be a pipe.
// Returns -7 or -5 when that fails.
K_EXPORT Outcome CopyDescriptor(int from, int to);

}  // namespace kz
