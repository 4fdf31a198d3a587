#include "API/Filters/Ica/Common/Ioca/Document.h"

#include <algorithm>
#include <cstddef>
#include <initializer_list>

#include "API/Filters/Ica/Common/Ioca/BigEndian.h"
#include "API/Filters/Ica/Common/Ioca/StructuredField.h"
#include "API/Filters/Ica/Common/Thread.h"

namespace {

constexpr unsigned char kBeginDocument[] = {
    // clang-format off
    0x00, 0x40, 0xD3, 0xA8, 0xA8, 0x00, 0x00, 0x00,
    0x40, 0x40, 0x40, 0x40, 0x40, 0x40, 0x40, 0x40,  // name: EBCDIC blanks
    0x00, 0x00,
    0x06, 0x01, 0x02, 0xB9, 0x01, 0xF4,              // character set 697, code page 500
    0x05, 0x18, 0x01, 0x0C, 0x00,                    // presentation interchange set
    0x23, 0x02, 0x01, 0x00,                          // fully qualified name, in EBCDIC:
    0xC2, 0xF0, 0xF0, 0xF1, 0xF1, 0xF1, 0xF6, 0x4B,  // B001116.
    0xC2, 0xF2, 0xF5, 0xF6, 0xF3, 0xF2, 0x4B,        // B25632.
    0xD4, 0xF2, 0xF9, 0xF1, 0xF0, 0xF9, 0xF1, 0xC4, 0x4B,  // M291091D.
    0xC6, 0xD6, 0xC4, 0xD4, 0xF0, 0xF1, 0x4B,        // FODM01.
    // clang-format on
};
static_assert(sizeof(kBeginDocument) == 64);

constexpr unsigned char kEndDocument[END_DOCUMENT_LENGTH] = {0x00, 0x10, 0xD3, 0xA9, 0xA8};

}  // namespace

int WriteMODCA_SDF(tagHANDLE* handle, _MODCA_SDF* sdf) {
  _MODCA_SDF copy = *sdf;
  auto* field = reinterpret_cast<unsigned char*>(&copy) + offsetof(_MODCA_SDF, wLength);
  PutBig16(field, sdf->wLength);
  PutBig16(field + 3, sdf->wTypeCategory);
  if (sdf->wCode == SF_PAGE_DESCRIPTOR) {
    // Units per unit base, X and Y.
    for (unsigned char* number : {copy.abData + 2, copy.abData + 4}) {
      uint16_t value;
      K_MemoryCopy(&value, number, sizeof(value));
      PutBig16(number, value);
    }
  }
  constexpr unsigned room = sizeof(copy) - offsetof(_MODCA_SDF, wLength);
  return WriteStructuredField(handle, field, std::min<unsigned>(sdf->wCount, room));
}

int WriteEmptyField(tagHANDLE* handle, uint16_t wCode) {
  _MODCA_SDF sdf = {};
  sdf.wCode = wCode;
  sdf.wCount = SF_INTRODUCER_LENGTH;
  sdf.wLength = SF_INTRODUCER_LENGTH;
  sdf.bClass = SF_CLASS;
  sdf.wTypeCategory = wCode;
  return WriteMODCA_SDF(handle, &sdf);
}

int WriteMODCAStartDoc(tagHANDLE* handle) {
  return WriteStructuredField(handle, kBeginDocument, sizeof(kBeginDocument));
}

int WriteMODCAEndDoc(tagHANDLE* handle) {
  K_RedirectedSeek(handle, 0, K_SEEK_END);
  return WriteBound(ThreadState(), handle, kEndDocument, sizeof(kEndDocument)) ? K_SUCCESS
                                                                               : K_ERROR_WRITE;
}

int SeekEndDocument(tagHANDLE* handle) {
  const int size = K_RedirectedSeek(handle, 0, K_SEEK_END);
  if (size < 0) return K_ERROR_SEEK;
  unsigned char last[1 + END_DOCUMENT_LENGTH];  // the last field and the byte before it
  const auto count = std::min(static_cast<unsigned>(size), unsigned{sizeof(last)});
  if (K_RedirectedSeek(handle, -static_cast<int>(count), K_SEEK_END) < 0) return K_ERROR_SEEK;
  const FilterThreadState* state = ThreadState();
  if (!ReadBound(state, handle, last, count)) return K_ERROR_READ;

  for (const unsigned length : {END_DOCUMENT_LENGTH, SF_INTRODUCER_LENGTH}) {
    if (length > count) continue;
    const unsigned before = count - length;
    const unsigned char* field = last + before;
    if (GetBig16(field) != length || field[2] != SF_CLASS ||
        GetBig16(field + 3) != SF_END_DOCUMENT) {
      continue;
    }
    // A 0x5A before it may be its own, as other producers write it, or a data byte of
    // what stands before: it stays, and where the page begins with one it is the same.
    const bool shared = state->bWriteCC != 0 && before > 0 && last[before - 1] == CARRIAGE_CONTROL;
    const int start = size - static_cast<int>(length) - (shared ? 1 : 0);
    return K_RedirectedSeek(handle, start, K_SEEK_START) < 0 ? K_ERROR_SEEK : K_SUCCESS;
  }
  return K_ERROR_INVALID_FORMAT;
}
