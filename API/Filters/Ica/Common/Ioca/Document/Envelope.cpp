#include "API/Filters/Ica/Common/Ioca/Document/Envelope.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#include "API/Filters/Ica/Common/Ioca/Document/FieldStream.h"
#include "API/Filters/Ica/Common/Thread.h"
#include "Format/PageFields.h"

namespace {

template <size_t Count>
int WriteFields(tagHANDLE* handle, const std::array<kz::SmallField, Count>& fields) {
  for (const kz::SmallField& field : fields) {
    const int status = WriteStructuredField(handle, field);
    if (status != K_SUCCESS) return status;
  }
  return K_SUCCESS;
}

kz::PageImage PageImageOf(const _BITMAPHANDLE& bitmap) {
  return {bitmap.nWidth, bitmap.nHeight, bitmap.nXResolution, bitmap.nYResolution};
}

}  // namespace

int WriteMODCA_SDF(tagHANDLE* handle, _MODCA_SDF* sdf) {
  _MODCA_SDF copy = *sdf;
  auto* field = reinterpret_cast<unsigned char*>(&copy) + offsetof(_MODCA_SDF, wLength);
  kz::PutBig16(field, sdf->wLength);
  kz::PutBig16(field + 3, sdf->wTypeCategory);
  if (sdf->wCode == kz::sf::kPageDescriptor) {
    // Units per unit base, X and Y.
    for (unsigned char* number : {copy.abData + 2, copy.abData + 4}) {
      uint16_t value;
      std::memcpy(&value, number, sizeof(value));
      kz::PutBig16(number, value);
    }
  }
  constexpr size_t room = sizeof(copy) - offsetof(_MODCA_SDF, wLength);
  return WriteStructuredField(handle, {field, std::min<size_t>(sdf->wCount, room)});
}

int WriteMODCAStartDoc(tagHANDLE* handle) {
  return WriteStructuredField(handle, kz::BeginDocumentField());
}

int WriteMODCAEndDoc(tagHANDLE* handle) {
  K_RedirectedSeek(handle, 0, K_SEEK_END);
  const kz::SmallField field = kz::EndDocumentField();
  return WriteBound(ThreadState(), handle, field.data(), kz::kEndDocumentLength) ? K_SUCCESS
                                                                                 : K_ERROR_WRITE;
}

int SeekEndDocument(tagHANDLE* handle) {
  const int size = K_RedirectedSeek(handle, 0, K_SEEK_END);
  if (size < 0) return K_ERROR_SEEK;
  unsigned char last[1 + kz::kEndDocumentLength];  // the last field and the byte before it
  const auto count = std::min(static_cast<unsigned>(size), unsigned{sizeof(last)});
  if (K_RedirectedSeek(handle, -static_cast<int>(count), K_SEEK_END) < 0) return K_ERROR_SEEK;
  const FilterThreadState* state = ThreadState();
  if (!ReadBound(state, handle, last, count)) return K_ERROR_READ;

  const unsigned length = kz::TrailingEndDocument({last, count});
  if (length == 0) return K_ERROR_INVALID_FORMAT;
  // A 0x5A before it may be its own, as other producers write it, or a data byte of
  // what stands before: it stays, and where the page begins with one it is the same.
  const bool shared =
      state->bWriteCC != 0 && count > length && last[count - length - 1] == kz::kCarriageControl;
  const int start = size - static_cast<int>(length) - (shared ? 1 : 0);
  return K_RedirectedSeek(handle, start, K_SEEK_START) < 0 ? K_ERROR_SEEK : K_SUCCESS;
}

int WriteMODCAStartPage(_SAVEDISPATCH* pSave, tagHANDLE* handle) {
  _BITMAPHANDLE& bitmap = *pSave->pBitmap;
  if (bitmap.nXResolution == 0) bitmap.nXResolution = kz::kDefaultPageResolution;
  if (bitmap.nYResolution == 0) bitmap.nYResolution = kz::kDefaultPageResolution;
  return WriteFields(handle, kz::PageStartFields(PageImageOf(bitmap)));
}

int WriteIDD(tagHANDLE* handle, _BITMAPHANDLE* pBitmap) {
  return WriteStructuredField(handle, kz::ImageDataDescriptorField(PageImageOf(*pBitmap)));
}

int WriteMODCAEndPage(tagHANDLE* handle) { return WriteFields(handle, kz::PageEndFields()); }
