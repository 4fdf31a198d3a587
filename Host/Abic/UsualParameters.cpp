#include "Host/Abic/UsualParameters.h"

#include <cstdlib>

#include "Host/Abic/AbicText.h"

bool FindUsualParameters(AbicParameters& parameters) {
  struct Usual {
    AbicParameters parameters;
    bool understood = true;
  };
  static const Usual usual = [] {
    Usual found;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing here changes the environment
    const char* named = std::getenv(kAbicVariable);
    if (named != nullptr) found.understood = ReadAbicText(named, found.parameters);
    return found;
  }();
  parameters = usual.parameters;
  return usual.understood;
}
