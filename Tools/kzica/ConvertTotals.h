// What came of many conversions, for people.
#pragma once

#include <string>

#include "Toolkit/Convert/Convert.h"
#include "Tools/kzica/Command.h"

namespace kzica {

// "12 files: 10 done, 1 skipped, 1 failed; 30 pages, ...", without the time.
std::string TotalsInWords(const kz::ConvertTotals& totals);
// kFileFailed when any failed, kWarned with warnings.
Exit ResultOf(const kz::ConvertTotals& totals);
// "0.4 s", "3:07", "26:03:07".
std::string TimeInWords(double seconds);

}  // namespace kzica
