// Whether every page of a file can be used.
#pragma once

#include <functional>
#include <string>

#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Documents/Document.h"

namespace kz {

struct CheckResult {
  int picture = 0;   // 0: the file as a whole
  int pictures = 0;  // of the file
  Outcome outcome;
};

// Looks whether the structure of the file is whole and each of its pictures can be
// loaded, and reports picture by picture and then on the file as a whole.
// Returns the first failure; its words don't name the picture.
K_EXPORT Outcome CheckFile(const std::string& file, const LoadOptions& options,
                           const std::function<void(const CheckResult&)>& report);

}  // namespace kz
