#include "Host/Abic/UsualParameters.h"

#include <cstdlib>

#include "Host/Abic/AbicText.h"

bool FindUsualParameters(kz::AbicParameters& parameters) {
  struct Usual {
    kz::AbicParameters parameters;
    bool understood = true;
  };
  static const Usual usual = [] {
    Usual found;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing here changes the environment
    const char* named = std::getenv(kz::kAbicVariable);
    if (named != nullptr) found.understood = kz::ReadAbicText(named, found.parameters);
    return found;
  }();
  parameters = usual.parameters;
  return usual.understood;
}
