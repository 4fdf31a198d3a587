// The lock that keeps two writers from one file.
#pragma once

#include <sys/stat.h>

#include <functional>
#include <memory>
#include <string>

#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Outcome.h"

namespace kz {

// An advisory lock (flock) on the file itself; readers need none. The system
// releases it when the process ends. Whoever changes a file takes it before reading
// what the change is made from, and keeps it until the new file is in place. The
// functions that write files take it themselves, but then whatever was read before
// may be out of date, and they refuse to replace it.
//
// Where the file system has no locks all that remains is that check.
class K_EXPORT DocumentLock {
 public:
  // Takes the lock of the file at the path, following links. Within one thread a
  // lock can be taken again. Waits as the process's WritingPolicy says. -10 for
  // what isn't a regular file that can be opened, -14 when another keeps the lock.
  Outcome Take(const std::string& path);
  // The same for a name in an opened folder; `path` is what the file is called. Who
  // holds other locks gives them back in `beforeWaiting`, so that two programs never
  // wait for each other.
  Outcome Take(int folder, const std::string& name, const std::string& path,
               std::function<void()> beforeWaiting = {});
  // Gives the lock back, unless it was taken elsewhere in the thread too.
  void Release() { m_held.reset(); }

  bool Holds() const { return m_held != nullptr; }
  // Whether it keeps others out: false where the file system has no locks, too.
  bool IsEffective() const;
  // The locked file as it was when the lock was taken; zeros without a lock.
  const struct stat& Found() const;
  // The locked file, to look at its rights; -1 without a lock.
  int Descriptor() const;

 private:
  struct Held;
  std::shared_ptr<const Held> m_held;
};

}  // namespace kz
