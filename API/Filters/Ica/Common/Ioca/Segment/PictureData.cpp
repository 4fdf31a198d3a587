#include "API/Filters/Ica/Common/Ioca/Segment/PictureData.h"

#include <algorithm>

#include "API/Filters/Ica/Common/Ioca/Document/FieldStream.h"
#include "API/Filters/Ica/Common/Thread.h"

namespace {

// ReadIPD; with a null buffer the bytes are passed over.
int TransferIPD(tagHANDLE* handle, unsigned char* buffer, unsigned int count) {
  if (count == 0) return 0;
  FilterThreadState* state = ThreadState();
  unsigned left = count;
  while (left > 0) {
    if (state->bReadIPD == 0) {
      state->nIPDLeft = left;
    } else if (state->nIPDLeft == 0) {
      if (ReadSFI(handle, &state->sfiRead) != K_SUCCESS) return -1;
      if (state->sfiRead.wTypeCategory != kz::sf::kImagePictureData) {
        if (SeekBackToSFI(handle, state->sfiRead) < 0) return -1;
        return static_cast<int>(count - left);
      }
      state->nIPDLeft = SFDataLength(state->sfiRead);
      if (state->nIPDLeft == 0) continue;
    }
    const unsigned n = std::min(state->nIPDLeft, left);
    if (buffer == nullptr) {
      if (K_RedirectedSeek(handle, static_cast<int>(n), K_SEEK_CURRENT) < 0) return -1;
    } else {
      if (!ReadBound(state, handle, buffer, n)) return -1;
      buffer += n;
    }
    state->nIPDLeft -= n;
    left -= n;
  }
  return static_cast<int>(count);
}

}  // namespace

int ReadIPD(tagHANDLE* handle, unsigned char* buffer, unsigned int count) {
  return TransferIPD(handle, buffer, count);
}

int SkipIPD(tagHANDLE* handle, unsigned count) { return TransferIPD(handle, nullptr, count); }

int WriteIPD(tagHANDLE* handle, unsigned int dataLength) {
  unsigned char field[kz::kIntroducerLength];
  kz::PutIntroducer(field, kz::kIntroducerLength + dataLength, kz::sf::kImagePictureData);
  return WriteStructuredField(handle, field);
}
