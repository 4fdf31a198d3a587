// The reports of several runs as one.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Host/Kernel/Export.h"
#include "Toolkit/Convert/Convert.h"

namespace kz {

struct JoinedReport {
  ConvertTotals totals;               // `seconds` is the sum of what the sources took
  size_t replaced = 0;                // lines that later ones took the place of
  std::vector<SourceResult> failed;   // the first kMostFailed, in the order of their lines
  std::vector<SourceResult> slowest;  // the slowest first
  // Shards whose reports are missing, or have no last line: their runs didn't end.
  std::vector<std::string> unfinished;
  // What of the files couldn't be used, with their names.
  std::vector<std::string> warnings;
  static constexpr size_t kMostFailed = 10000;
};

// Joins reports, as many as there are of each shard. Of the lines about one source the one
// counts that was written last by the clocks of the machines, the later in the files' order
// among equals; but one that says that it was skipped doesn't replace another. Takes 32 bytes a
// line. Lines that are none are left out, with a warning. -10 or -7 when a file can't be read;
// `what` names it.
K_EXPORT Outcome JoinReports(const std::vector<std::string>& files, size_t slowest,
                             JoinedReport& joined);

}  // namespace kz
