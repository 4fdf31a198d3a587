// The whole image data of an image in one buffer, for decoders that need it so.
#pragma once

#include <cstddef>

#include "API/Filters/Ica/Common/Ioca/Guards.h"

struct CollectedData {
  LocalBlock bytes{KZICA_SOURCE};
  size_t size = 0;
};

// Gathers the image data from where the readers stand to the field that follows
// them. Returns 1; -1 for no memory; the status of ReadRawIMG.
int CollectImageData(tagHANDLE* handle, const FilterThreadState* state, CollectedData* data);
