#include "API/Filters/Ica/Common/Ioca/Document/FieldStream.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "API/Filters/Ica/Common/Thread.h"

namespace {

bool BeginsLikePrefix(unsigned length) { return length >> 8 == kz::kCarriageControl; }

// Remembers the field whose introducer has just been read. Whether its position
// could be learnt.
bool RememberField(PassedPrefixes* passed, tagHANDLE* handle) {
  const int position = K_RedirectedSeek(handle, 0, K_SEEK_CURRENT);
  if (passed->hFile != handle) *passed = {};
  passed->hFile = handle;
  passed->nRead = std::max(position - static_cast<int>(kz::kIntroducerLength), 0);
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
  if (raw[1] != kz::kFieldClass) return K_ERROR_INVALID_FORMAT;
  const int end = K_RedirectedSeek(handle, 0, K_SEEK_CURRENT);
  if (end < 0) return K_ERROR_READ;
  constexpr int taken = 1 + static_cast<int>(kz::kIntroducerLength);
  if (!Remembers(passed, handle, end - taken)) return K_ERROR_INVALID_FORMAT;
  if (K_RedirectedSeek(handle, -1, K_SEEK_CURRENT) < 0) return K_ERROR_READ;
  std::memmove(raw + 1, raw, kz::kIntroducerLength - 1);
  raw[0] = kz::kCarriageControl;
  return K_SUCCESS;
}

// Reads the extension of a field whose introducer stands in the record as in the file.
// Returns 1, -9 or -7.
int ReadExtension(const FilterThreadState* state, tagHANDLE* handle, _SFI* sfi) {
  if (!ReadBound(state, handle, &sfi->bExtLength, 1)) return K_ERROR_READ;
  const auto* raw = reinterpret_cast<const unsigned char*>(sfi);
  const kz::Introducer field = kz::ParseIntroducer({raw, kz::kIntroducerLength + 1});
  if (field.fault != kz::FieldFault::None) return K_ERROR_INVALID_FORMAT;
  const unsigned rest = field.extension - 1;
  const bool whole = rest == 0 || ReadBound(state, handle, sfi->abExtension, rest);
  return whole ? K_SUCCESS : K_ERROR_READ;
}

}  // namespace

int ReadSFI(tagHANDLE* handle, _SFI* sfi) {
  FilterThreadState* state = ThreadState();
  K_MemorySet(sfi, 0, sizeof(*sfi));  // the compiler would clear it slowly
  unsigned char first = 0;
  if (!ReadBound(state, handle, &first, 1)) return K_ERROR_READ;
  const bool prefixed = first == kz::kCarriageControl;
  if (prefixed) {
    state->bReadCC = 1;
  } else if (K_RedirectedSeek(handle, -1, K_SEEK_CURRENT) < 0) {
    return K_ERROR_READ;
  }

  // The record begins with the bytes as they stand in the file.
  auto* raw = reinterpret_cast<unsigned char*>(sfi);
  if (!ReadBound(state, handle, raw, kz::kIntroducerLength)) return K_ERROR_READ;
  if (prefixed && sfi->bClass != kz::kFieldClass) {
    const int status = TakeForIntroducer(state->passed, handle, raw);
    if (status != K_SUCCESS) return status;
  }
  const kz::Introducer field = kz::ParseIntroducer({raw, kz::kIntroducerLength});
  const bool extended = field.fault == kz::FieldFault::Cut;
  if (field.fault != kz::FieldFault::None && !extended) return K_ERROR_INVALID_FORMAT;
  if (BeginsLikePrefix(field.length) && !RememberField(&state->passed, handle)) {
    return K_ERROR_READ;
  }
  if (extended) {
    const int status = ReadExtension(state, handle, sfi);
    if (status != K_SUCCESS) return status;
  }
  sfi->wLength = static_cast<uint16_t>(field.length);
  sfi->wTypeCategory = field.code;
  return K_SUCCESS;
}

int SkipSFData(tagHANDLE* handle, _SFI* sfi) {
  const int length = static_cast<int>(SFDataLength(*sfi));
  return K_RedirectedSeek(handle, length, K_SEEK_CURRENT) == -1 ? K_ERROR_SEEK : K_SUCCESS;
}

int SeekBackToSFI(tagHANDLE* handle, const _SFI& sfi) {
  const int length = static_cast<int>(kz::kIntroducerLength) + sfi.bExtLength;
  const int position = K_RedirectedSeek(handle, -length, K_SEEK_CURRENT);
  if (position > 0 && BeginsLikePrefix(sfi.wLength)) {
    PassedPrefixes& passed = ThreadState()->passed;
    passed.anFound[passed.nNext++ % std::size(passed.anFound)] = position;
  }
  return position;
}

int WriteStructuredField(tagHANDLE* handle, kz::ByteSpan field) {
  const FilterThreadState* state = ThreadState();
  if (state->bWriteCC != 0 && !WriteBound(state, handle, &kz::kCarriageControl, 1)) {
    return K_ERROR_WRITE;
  }
  const auto count = static_cast<unsigned>(field.size());
  return WriteBound(state, handle, field.data(), count) ? K_SUCCESS : K_ERROR_WRITE;
}
