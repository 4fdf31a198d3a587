// What a toolkit call came to: a status for programs and words for people.
#pragma once

#include <string>
#include <vector>

#include "Host/Kernel/Export.h"
#include "Host/Kernel/Status.h"

namespace kz {

// A result that must be looked at. `what` says what went wrong, without the name
// of the file and without the status: whoever reports it adds both. A success may
// have warnings, in the same words: what was done isn't all that was asked for.
struct [[nodiscard]] Outcome {
  int status = K_SUCCESS;
  std::string what;
  std::vector<std::string> warnings;
  bool Ok() const { return status == K_SUCCESS; }
};

// What a status means, in words that need no knowledge of the code, as the end
// of a line: "the data end too early". Unknown codes get words too; never null.
K_EXPORT const char* StatusText(int status);

// A failure. Without words of its own it gets those of its status.
K_EXPORT Outcome Failure(int status, std::string what = {});

// A failure that the operating system explains with an errno value.
K_EXPORT Outcome SystemFailure(int status, int errorNumber);

}  // namespace kz
