#include "API/Filters/Ica/Common/Ioca/Segment/ImageDataCollector.h"

#include <algorithm>

#include "API/Filters/Ica/Common/Ioca/Segment/ImageDataReader.h"
#include "Format/SelfDefiningField.h"

namespace {
constexpr size_t kPiece = 65000;
}

int CollectImageData(tagHANDLE* handle, const FilterThreadState* state, CollectedData* data) {
  // The buffer grows by what was really read, never by what a header promises, so
  // a short file can't ask for much memory.
  size_t capacity = 0;
  do {
    if (capacity - data->size < kPiece) {
      capacity = std::max(data->size + kPiece, capacity * 2);
      if (!data->bytes.Grow(capacity, __LINE__)) return K_ERROR_NO_MEMORY;
    }
    int status = K_SUCCESS;
    const int n = ReadRawIMG(handle, data->bytes.get() + data->size, kPiece, &status);
    if (status != K_SUCCESS) return status;
    data->size += static_cast<size_t>(n);
  } while (state->sdfRead.wId == kz::sdf::kImageData);
  return K_SUCCESS;
}
