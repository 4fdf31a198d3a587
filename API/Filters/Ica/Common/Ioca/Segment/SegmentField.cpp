#include "API/Filters/Ica/Common/Ioca/Segment/SegmentField.h"

#include <algorithm>
#include <cstring>

#include "API/Filters/Ica/Common/Ioca/Segment/PictureData.h"
#include "API/Filters/Ica/Common/Thread.h"
#include "Format/SelfDefiningField.h"

namespace {

bool ReadSegment(tagHANDLE* handle, unsigned char* buffer, unsigned count) {
  return ReadIPD(handle, buffer, count) == static_cast<int>(count);
}

}  // namespace

int ReadICA_SDF(tagHANDLE* handle, _ICA_SDF* field) {
  *field = {};
  unsigned char bytes[kz::kMaxSelfDefiningHeader];
  constexpr unsigned shortest = 2;
  if (!ReadSegment(handle, bytes, shortest)) return K_ERROR_READ;
  const unsigned count = kz::HeaderLengthFrom(bytes[0]);
  if (count > shortest && !ReadSegment(handle, bytes + shortest, count - shortest)) {
    return K_ERROR_READ;
  }
  const kz::SelfDefiningHeader header = *kz::ParseSelfDefiningHeader({bytes, count});
  field->wId = header.id;
  field->wLength = header.length;
  // Nearly all fields of a long segment, and of any length.
  if (header.id == kz::sdf::kImageData) return K_SUCCESS;

  const kz::SelfDefiningFieldRow* row = kz::FindSelfDefiningField(header.id);
  if (row == nullptr || !kz::TakesLength(*row, header.length) ||
      header.length > sizeof(field->abParam)) {
    return K_ERROR_INVALID_FORMAT;
  }
  if (header.length > 0 && !ReadSegment(handle, field->abParam, header.length)) {
    return K_ERROR_READ;
  }
  const bool taken = kz::TakesValues(*row, {field->abParam, header.length});
  kz::ToNative(*row, field->abParam, header.length);
  return taken ? K_SUCCESS : K_ERROR_INVALID_FORMAT;
}

int WriteICA_SDF(tagHANDLE* handle, _ICA_SDF* field) {
  unsigned char bytes[kz::kMaxSelfDefiningHeader + sizeof(field->abParam)] = {};
  kz::SelfDefiningHeader header{field->wId, field->wLength};
  unsigned count = header.HeaderLength();
  if (!kz::IsExtended(header.id)) {
    header.length = std::min<uint16_t>(header.length, sizeof(field->abParam));
    std::memcpy(bytes + count, field->abParam, sizeof(field->abParam));
    const kz::SelfDefiningFieldRow* row = kz::FindSelfDefiningField(header.id);
    if (row != nullptr) kz::ToFile(*row, bytes + count, sizeof(field->abParam));
    count += header.length;
  }
  kz::PutSelfDefiningHeader(bytes, header);
  return WriteBound(ThreadState(), handle, bytes, count) ? K_SUCCESS : K_ERROR_WRITE;
}
