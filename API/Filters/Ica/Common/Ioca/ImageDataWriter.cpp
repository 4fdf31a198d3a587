#include "API/Filters/Ica/Common/Ioca/ImageDataWriter.h"

#include <algorithm>

#include "API/Filters/Ica/Common/Ioca/BigEndian.h"
#include "API/Filters/Ica/Common/Ioca/SelfDefiningField.h"
#include "API/Filters/Ica/Common/Ioca/StructuredField.h"
#include "API/Filters/Ica/Common/Thread.h"

namespace {

void PutIntroducer(unsigned char* bytes, unsigned length, uint16_t wTypeCategory) {
  PutBig16(bytes, length);
  bytes[2] = SF_CLASS;
  PutBig16(bytes + 3, wTypeCategory);
}

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

int WriteIPD(tagHANDLE* handle, unsigned int dataLength) {
  unsigned char field[SF_INTRODUCER_LENGTH] = {};
  PutIntroducer(field, SF_INTRODUCER_LENGTH + dataLength, SF_IMAGE_PICTURE_DATA);
  return WriteStructuredField(handle, field, sizeof(field));
}

int WriteIDD(tagHANDLE* handle, _BITMAPHANDLE* pBitmap) {
  unsigned char field[17] = {};
  PutIntroducer(field, sizeof(field), SF_IMAGE_DATA_DESCRIPTOR);
  field[8] = UNIT_BASE_TEN_INCHES;
  PutBig16(field + 9, static_cast<uint32_t>(pBitmap->nXResolution) * 10);
  PutBig16(field + 11, static_cast<uint32_t>(pBitmap->nYResolution) * 10);
  PutBig16(field + 13, static_cast<uint32_t>(pBitmap->nWidth));
  PutBig16(field + 15, static_cast<uint32_t>(pBitmap->nHeight));
  return WriteStructuredField(handle, field, sizeof(field));
}

int WriteImageDataHdr(tagHANDLE* handle, unsigned int dataLength, int withIPD) {
  if (withIPD != 0) {
    const int status = WriteIPD(handle, dataLength + SDF_IMAGE_DATA_HEADER);
    if (status != K_SUCCESS) return status;
  }
  _ICA_SDF header = {};
  header.wId = SDF_IMAGE_DATA;
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
