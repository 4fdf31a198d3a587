#include "API/Filters/Ica/Common/Ioca/StructuredField.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "API/Filters/Ica/Common/Ioca/BigEndian.h"
#include "API/Filters/Ica/Common/Thread.h"

namespace {

bool BeginsLikePrefix(const _SFI& sfi) { return sfi.wLength >> 8 == CARRIAGE_CONTROL; }

// Remembers the field whose introducer has just been read. Whether its position
// could be learnt.
bool RememberField(PassedPrefixes* passed, tagHANDLE* handle) {
  const int position = K_RedirectedSeek(handle, 0, K_SEEK_CURRENT);
  if (passed->hFile != handle) *passed = {};
  passed->hFile = handle;
  passed->nRead = std::max(position - static_cast<int>(SF_INTRODUCER_LENGTH), 0);
  return position >= 0;
}

// Whether such a field begins at the position.
bool Remembers(const PassedPrefixes& passed, tagHANDLE* handle, int position) {
  if (passed.hFile != handle || position <= 0) return false;
  const auto* end = std::end(passed.anFound);
  return position == passed.nRead || std::find(passed.anFound, end, position) != end;
}

// What was taken for a 0x5A and an introducer after it is put right when it is an
// introducer that begins with that byte, read again. Returns 1, -9 or -7.
int TakeForIntroducer(const PassedPrefixes& passed, tagHANDLE* handle, unsigned char* raw) {
  if (raw[1] != SF_CLASS) return K_ERROR_INVALID_FORMAT;
  const int end = K_RedirectedSeek(handle, 0, K_SEEK_CURRENT);
  if (end < 0) return K_ERROR_READ;
  constexpr int taken = 1 + static_cast<int>(SF_INTRODUCER_LENGTH);
  if (!Remembers(passed, handle, end - taken)) return K_ERROR_INVALID_FORMAT;
  if (K_RedirectedSeek(handle, -1, K_SEEK_CURRENT) < 0) return K_ERROR_READ;
  std::memmove(raw + 1, raw, SF_INTRODUCER_LENGTH - 1);
  raw[0] = CARRIAGE_CONTROL;
  return K_SUCCESS;
}

}  // namespace

int ReadSFI(tagHANDLE* handle, _SFI* sfi) {
  FilterThreadState* state = ThreadState();
  *sfi = {};
  unsigned char first = 0;
  if (!ReadBound(state, handle, &first, 1)) return K_ERROR_READ;
  const bool prefixed = first == CARRIAGE_CONTROL;
  if (prefixed) {
    state->bReadCC = 1;
  } else if (K_RedirectedSeek(handle, -1, K_SEEK_CURRENT) < 0) {
    return K_ERROR_READ;
  }

  auto* raw = reinterpret_cast<unsigned char*>(sfi);
  if (!ReadBound(state, handle, raw, SF_INTRODUCER_LENGTH)) return K_ERROR_READ;
  if (sfi->bClass != SF_CLASS) {
    if (!prefixed) return K_ERROR_INVALID_FORMAT;
    const int status = TakeForIntroducer(state->passed, handle, raw);
    if (status != K_SUCCESS) return status;
  }
  sfi->wLength = GetBig16(raw);
  sfi->wTypeCategory = GetBig16(raw + 3);
  // The length is a signed number: 0x8000 and above are refused like 7 and below.
  if (static_cast<int16_t>(sfi->wLength) < static_cast<int>(SF_INTRODUCER_LENGTH)) {
    return K_ERROR_INVALID_FORMAT;
  }
  if (BeginsLikePrefix(*sfi) && !RememberField(&state->passed, handle)) return K_ERROR_READ;

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
  const int position = K_RedirectedSeek(handle, -length, K_SEEK_CURRENT);
  if (position > 0 && BeginsLikePrefix(sfi)) {
    PassedPrefixes& passed = ThreadState()->passed;
    passed.anFound[passed.nNext++ % std::size(passed.anFound)] = position;
  }
  return position;
}

int WriteStructuredField(tagHANDLE* handle, const unsigned char* pField, unsigned nCount) {
  const FilterThreadState* state = ThreadState();
  if (state->bWriteCC != 0 && !WriteBound(state, handle, &CARRIAGE_CONTROL, 1)) {
    return K_ERROR_WRITE;
  }
  return WriteBound(state, handle, pField, nCount) ? K_SUCCESS : K_ERROR_WRITE;
}
