#include "API/Filters/Ica/Common/Ioca/StructuredField.h"

#include "API/Filters/Ica/Common/Ioca/BigEndian.h"
#include "API/Filters/Ica/Common/Thread.h"

int ReadSFI(tagHANDLE* handle, _SFI* sfi) {
  FilterThreadState* state = ThreadState();
  *sfi = {};
  unsigned char first = 0;
  if (!ReadBound(state, handle, &first, 1)) return K_ERROR_READ;
  if (first == CARRIAGE_CONTROL) {
    state->bReadCC = 1;
  } else if (K_RedirectedSeek(handle, -1, K_SEEK_CURRENT) < 0) {
    return K_ERROR_READ;
  }

  auto* raw = reinterpret_cast<unsigned char*>(sfi);
  if (!ReadBound(state, handle, raw, SF_INTRODUCER_LENGTH)) return K_ERROR_READ;
  if (sfi->bClass != SF_CLASS) return K_ERROR_INVALID_FORMAT;
  sfi->wLength = GetBig16(raw);
  sfi->wTypeCategory = GetBig16(raw + 3);
  // The length is a signed number: 0x8000 and above are refused like 7 and below.
  if (static_cast<int16_t>(sfi->wLength) < static_cast<int>(SF_INTRODUCER_LENGTH)) {
    return K_ERROR_INVALID_FORMAT;
  }

  if ((sfi->bFlags & SF_FLAG_EXTENSION) != 0) {
    if (!ReadBound(state, handle, &sfi->bExtLength, 1)) return K_ERROR_READ;
    if (sfi->bExtLength == 0 || sfi->wLength < sfi->bExtLength + SF_INTRODUCER_LENGTH) {
      return K_ERROR_INVALID_FORMAT;
    }
    const unsigned rest = sfi->bExtLength - 1u;
    if (rest > 0 && !ReadBound(state, handle, sfi->abExtension, rest)) return K_ERROR_READ;
  }
  return K_SUCCESS;
}

int SkipSFData(tagHANDLE* handle, _SFI* sfi) {
  const int length = static_cast<int>(SFDataLength(*sfi));
  return K_RedirectedSeek(handle, length, K_SEEK_CURRENT) == -1 ? K_ERROR_SEEK : K_SUCCESS;
}

int SeekBackToSFI(tagHANDLE* handle, const _SFI& sfi) {
  const int length = static_cast<int>(SF_INTRODUCER_LENGTH) + sfi.bExtLength;
  return K_RedirectedSeek(handle, -length, K_SEEK_CURRENT);
}

int WriteStructuredField(tagHANDLE* handle, const unsigned char* pField, unsigned nCount) {
  const FilterThreadState* state = ThreadState();
  if (state->bWriteCC != 0 && !WriteBound(state, handle, &CARRIAGE_CONTROL, 1)) {
    return K_ERROR_WRITE;
  }
  return WriteBound(state, handle, pField, nCount) ? K_SUCCESS : K_ERROR_WRITE;
}
