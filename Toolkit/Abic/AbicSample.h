// The ABIC code strings of a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Host/Abic/AbicParameters.h"
#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Documents/Document.h"

namespace kz {

// A code string with what its image says of it.
struct AbicSample {
  int picture = 0;  // of the file, counted from 1
  int width = 0;
  int height = 0;
  int depth = 0;
  bool exactWidth = false;          // rows are coded in their exact width
  std::vector<unsigned char> data;  // the highest bit of each byte first
};

// The strings of a document's pictures, tile by tile and band by band, in their order, until
// there are as many as `limit` or kMostSampledBytes of them. Pictures that can't be read are
// passed over. Fails when the file can't be opened again, and with -1 for no memory.
inline constexpr size_t kMostSampledBytes = size_t{256} << 20;
K_EXPORT Outcome ReadAbicSamples(const Document& document, size_t limit,
                                 std::vector<AbicSample>& samples);
// Those of one picture, counted from 1; -9 for one that isn't there or has none.
K_EXPORT Outcome ReadAbicSamples(const Document& document, int picture,
                                 std::vector<AbicSample>& samples);

}  // namespace kz
