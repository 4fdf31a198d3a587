// Whether every page of a file can be used.
#pragma once

#include <functional>
#include <string>

#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Documents/Document.h"

namespace kz {

struct CheckResult {
  int page;   // 0: the file as a whole
  int pages;  // of the file; 0 when it has none that can be counted
  Outcome outcome;
};

// Looks whether the structure of the file is whole and each of its pages can be
// described and loaded, and reports page by page and then on the file as a whole.
// Returns the first failure; its words don't name the page.
K_EXPORT Outcome CheckFile(const std::string& file, const LoadOptions& options,
                           const std::function<void(const CheckResult&)>& report);

}  // namespace kz
