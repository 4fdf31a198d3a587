// The definition of the whole command: what parses the line, and what the manual
// page and the shell completion are made from.
#pragma once

#include "Tools/kzica/Command.h"

namespace kzica {

// Describes the command and adds every subcommand. Those that run leave their exit
// status in `exit`, which must outlive the app.
void DefineApp(CLI::App& app, Exit& exit);

}  // namespace kzica
