#include "API/Filters/Ica/Common/Ioca/Segment/ImageDataReader.h"

#include <algorithm>
#include <climits>

#include "API/Filters/Ica/Common/Ioca/Segment/PictureData.h"
#include "API/Filters/Ica/Common/Ioca/Segment/SegmentField.h"
#include "API/Filters/Ica/Common/Thread.h"
#include "Format/SelfDefiningField.h"

namespace {

// What ReadIMG, ReadRawIMG and MeasureImageData share. Returns the bytes delivered
// (with a null buffer: passed over), or -1 with *status set.
int ReadImageData(FilterThreadState* state, tagHANDLE* handle, unsigned char* buffer,
                  unsigned count, int* status) {
  unsigned left = count;
  while (left > 0) {
    if (state->nImageDataLeft == 0) {
      const int result = ReadICA_SDF(handle, &state->sdfRead);
      if (result != K_SUCCESS) {
        *status = result;
        return -1;
      }
      if (state->sdfRead.wId != kz::sdf::kImageData) break;
      state->nImageDataLeft = state->sdfRead.wLength;
      continue;
    }
    const unsigned n = std::min(state->nImageDataLeft, left);
    const int passed = buffer != nullptr ? ReadIPD(handle, buffer, n) : SkipIPD(handle, n);
    if (passed != static_cast<int>(n)) {
      *status = K_ERROR_READ;
      return -1;
    }
    state->nImageDataLeft -= n;
    left -= n;
    if (buffer != nullptr) buffer += n;
  }
  return static_cast<int>(count - left);
}

}  // namespace

int ReadIMG(tagHANDLE* handle, unsigned char* buffer, unsigned int count, void*) {
  if (count == 0) return 0;
  FilterThreadState* state = ThreadState();
  int status = K_SUCCESS;
  const int delivered = ReadImageData(state, handle, buffer, count, &status);
  if (delivered >= 0 && delivered < static_cast<int>(count)) {
    state->nImageDataRead = static_cast<uint32_t>(delivered);
  }
  return delivered;
}

int ReadRawIMG(tagHANDLE* handle, unsigned char* buffer, unsigned int count, int* status) {
  if (count == 0) return 0;
  return ReadImageData(ThreadState(), handle, buffer, count, status);
}

int MeasureImageData(tagHANDLE* handle, uint32_t* pnSize) {
  int status = K_SUCCESS;
  const int size = ReadImageData(ThreadState(), handle, nullptr, INT_MAX, &status);
  // Data that the file lacks can be passed over as well; the field after them
  // can't be read then.
  *pnSize = size < 0 ? 0 : static_cast<uint32_t>(size);
  return status;
}

int GetBufferData(tagHANDLE* handle, unsigned char* buffer, unsigned int size) {
  unsigned gathered = 0;
  while (gathered < size) {
    unsigned char bytes[2];
    if (K_RedirectedRead(handle, bytes, 2) != 2) return K_ERROR_READ;
    if (kz::GetBig16(bytes) != kz::sdf::kImageData) return K_SUCCESS;
    if (K_RedirectedRead(handle, bytes, 2) != 2) return K_ERROR_READ;
    const unsigned length = kz::GetBig16(bytes);
    const unsigned kept = std::min(length, size - gathered);
    if (K_RedirectedRead(handle, buffer + gathered, kept) != static_cast<int>(kept)) {
      return K_ERROR_READ;
    }
    gathered += kept;
    if (length == kept) continue;
    // A seek would go past the end of the file: the last byte is read.
    const int rest = static_cast<int>(length - kept) - 1;
    if (K_RedirectedSeek(handle, rest, K_SEEK_CURRENT) < 0) return K_ERROR_READ;
    if (K_RedirectedRead(handle, bytes, 1) != 1) return K_ERROR_READ;
  }
  return K_SUCCESS;
}
