// The functions of the host's ABIC codec library.
#pragma once

#include "Host/Abic/Abic.h"

namespace kz {

// The function of a name; null when there is no library, or none that has it. The library is
// loaded once, and stays.
void* FindAbicFunction(const char* name);

template <typename Routine>
Routine FindAbicRoutine(const char* name) {
  return reinterpret_cast<Routine>(FindAbicFunction(name));
}

}  // namespace kz
