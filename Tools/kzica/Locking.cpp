#include "Tools/kzica/Locking.h"

#include "Toolkit/Files/WritingPolicy.h"

namespace kzica {

void NoteWaiting() {
  kz::Writing().note = [](const std::string& file, const std::string& text) { Note({file}, text); };
}

void AddNoWait(CLI::App& command) {
  command.add_flag_callback(
      "--no-wait", [] { kz::Writing().wait = false; },
      "Fail at once if another program has locked the file to write");
}

void AddChangeOptions(CLI::App& command, bool& breakLinks) {
  AddNoWait(command);
  command.add_flag("--break-links", breakLinks,
                   "Change a document that has several names (hard links) under this name only; "
                   "without it such a document is refused");
}

Exit LockDocument(const std::string& file, bool breakLinks, kz::DocumentLock& lock) {
  kz::Outcome outcome = lock.Take(file);
  if (outcome.Ok() && lock.Found().st_nlink > 1 && !breakLinks) {
    outcome = kz::Failure(
        K_ERROR_OPEN_WRITE,
        "it has " + std::to_string(lock.Found().st_nlink) +
            " names (hard links), and would change under this one only; --break-links allows that");
  }
  return outcome.Ok() ? kDone : Complain({file}, outcome);
}

}  // namespace kzica
