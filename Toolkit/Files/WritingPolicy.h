// What this process does when somebody else writes to the same file, and whom it
// tells.
#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "Host/Kernel/Export.h"

namespace kz {

struct WritingPolicy {
  // Whether to wait for a lock that another holds.
  bool wait = true;
  // How long to wait while the file stays as it is: whoever may read a file can lock
  // it, so that there must be an end.
  std::chrono::milliseconds patience = std::chrono::seconds(60);
  // When to say that we wait.
  std::chrono::milliseconds silence = std::chrono::seconds(1);
  // Is told, in words for people, that a file is waited for; may be empty.
  std::function<void(const std::string& file, const std::string& text)> note;
};

// The policy of the process. Change it before other threads write files.
K_EXPORT WritingPolicy& Writing();

}  // namespace kz
