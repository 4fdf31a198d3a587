// Finds out with which parameters ABIC code strings were made.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "Host/Abic/Abic.h"
#include "Host/Kernel/Export.h"
#include "Toolkit/Abic/AbicSample.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Base/Workers.h"

namespace kz {

// Strings shorter than this may fit several parameters by chance.
inline constexpr size_t kAbicTellingBytes = 2048;

struct AbicSearchOptions {
  // The places of which 7 are the context; 0: the 16 nearest.
  uint32_t places = 0;
  // Whether to go on, when nothing is found, with long strings to sets that don't look well at
  // their beginnings, and from contexts of the 16 nearest places to those of all.
  bool thorough = false;
  // Told now and then, on the calling thread, how much of what is being tried is done.
  std::function<void(int64_t done, int64_t of)> progress;
};

// Parameters with which the searched string fits, and others of the file.
struct AbicMatch {
  AbicParameters parameters;
  AbicFit fit;         // of the searched string
  size_t samples = 0;  // that fit, of those that were tried
  // What its picture takes with the usual parameters. What fits by chance looks like noise, and
  // takes more than a picture. 0: it tells nothing.
  uint64_t pictureBytes = 0;
};

struct AbicSearchResult {
  size_t searched = 0;  // which of the samples
  int64_t tried = 0;    // parameter sets
  size_t samples = 0;   // that matches were tried on
  // The context with which the codec reads the searched one without being told; 0: it doesn't.
  uint32_t untold = 0;
  // Those that fit the most samples with the simplest pictures, the likeliest first. Empty: none
  // fit.
  std::vector<AbicMatch> matches;
};

// Tries all contexts of 7 of the nearest places with every combination of the other open
// points on the shortest sample that tells, and those that fit on the others. The framing is
// first what the samples say, then any other. Fails with -823 or -822 without a codec library
// that decodes and encodes, -9 without samples.
K_EXPORT Outcome SearchAbicParameters(const std::vector<AbicSample>& samples,
                                      const AbicSearchOptions& options, Workers& workers,
                                      AbicSearchResult& result);

}  // namespace kz
