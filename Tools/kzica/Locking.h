// How the commands that write files get on with other writers.
#pragma once

#include <string>

#include "Toolkit/Files/DocumentLock.h"
#include "Tools/kzica/Command.h"

namespace kzica {

// Lets waiting for a lock be said on standard error.
void NoteWaiting();
// Adds --no-wait.
void AddNoWait(CLI::App& command);
// Adds --no-wait and --break-links.
void AddChangeOptions(CLI::App& command, bool& breakLinks);

// Locks a document that is to be changed, before anything is read of it. One with
// several hard links is refused unless they may be broken. Says what fails.
Exit LockDocument(const std::string& file, bool breakLinks, kz::DocumentLock& lock);

}  // namespace kzica
