// Temporary files and signals.
#pragma once

#include "Host/Kernel/Export.h"

namespace kz {

// Lets SIGINT, SIGTERM and SIGHUP, where they aren't ignored, remove the temporary
// files of the process before they end it. For programs; libraries leave signals
// alone.
K_EXPORT void RemoveTemporaryFilesOnSignals();

}  // namespace kz
