#include "API/Filters/Ica/Common/Ioca/Segment/ImageDataWriter.h"

#include <algorithm>

#include "API/Filters/Ica/Common/Ioca/Segment/PictureData.h"
#include "API/Filters/Ica/Common/Ioca/Segment/SegmentField.h"
#include "API/Filters/Ica/Common/Thread.h"
#include "Format/SelfDefiningField.h"

namespace {

// Opens the next Image Data field at the file's position, declared full.
int BeginField(tagHANDLE* handle, FilterThreadState* state) {
  // Without a field size no field would ever take a byte.
  if (state->nMaxSegmentData == 0) return K_ERROR_INVALID_FORMAT;
  const int position = K_RedirectedSeek(handle, 0, K_SEEK_CURRENT);
  if (position < 0) return K_ERROR_SEEK;
  state->nSegmentStart = static_cast<uint32_t>(position);
  state->nSegmentRoom = state->nMaxSegmentData;
  return WriteImageDataHdr(handle, state->nMaxSegmentData, static_cast<int>(state->bWriteIPD));
}

}  // namespace

int WriteImageDataHdr(tagHANDLE* handle, unsigned int dataLength, int withIPD) {
  if (withIPD != 0) {
    const unsigned headerLength = kz::SelfDefiningHeaderLength(kz::sdf::kImageData);
    const int status = WriteIPD(handle, headerLength + dataLength);
    if (status != K_SUCCESS) return status;
  }
  _ICA_SDF header = {};
  header.wId = kz::sdf::kImageData;
  header.wLength = static_cast<uint16_t>(dataLength);
  return WriteICA_SDF(handle, &header);
}

int WriteRawIMG(tagHANDLE* handle, unsigned char* buffer, unsigned int count, int* status) {
  FilterThreadState* state = ThreadState();
  *status = K_SUCCESS;
  unsigned left = count;
  while (left > 0) {
    if (state->nSegmentRoom == 0) {
      *status = BeginField(handle, state);
      if (*status != K_SUCCESS) return -1;
    }
    const unsigned n = std::min(state->nSegmentRoom, left);
    if (!WriteBound(state, handle, buffer, n)) {
      *status = K_ERROR_WRITE;
      return -1;
    }
    state->nSegmentRoom -= n;
    left -= n;
    buffer += n;
  }
  return static_cast<int>(count);
}

int WriteIMG(tagHANDLE* handle, unsigned char* buffer, unsigned int count, void*) {
  int status = K_SUCCESS;
  return WriteRawIMG(handle, buffer, count, &status);
}

int FinishImageData(tagHANDLE* handle) {
  const FilterThreadState* state = ThreadState();
  if (state->nSegmentRoom == 0) return K_SUCCESS;
  const int end = K_RedirectedSeek(handle, 0, K_SEEK_CURRENT);
  if (end < 0 ||
      K_RedirectedSeek(handle, static_cast<int>(state->nSegmentStart), K_SEEK_START) < 0) {
    return K_ERROR_SEEK;
  }
  const int status = WriteImageDataHdr(handle, state->nMaxSegmentData - state->nSegmentRoom,
                                       static_cast<int>(state->bWriteIPD));
  if (status != K_SUCCESS) return status;
  return K_RedirectedSeek(handle, end, K_SEEK_START) < 0 ? K_ERROR_SEEK : K_SUCCESS;
}
