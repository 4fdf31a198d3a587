// What a command reads: files, and what can be read only once.
#pragma once

#include <string>

#include "Tools/kzica/Command.h"

namespace kzica {

// Makes an argument the path of a file that can be opened again and read anywhere: "-",
// standard input, and pipes become the path of an unlinked copy, which lasts as long as
// the process; others stay as they are, whether they can be read or not. Says what
// fails. Standard input that is a terminal is a UsageError.
Exit OpenInput(std::string& file);

// What such a path is called: the argument that it was made from, or "standard input".
std::string InputName(const std::string& path);

}  // namespace kzica
