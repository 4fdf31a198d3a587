#include "Host/Toolkit/FieldScan.h"

#include "API/Filters/Ica/Common/Ioca/BigEndian.h"

namespace kz {

ScannedField ScanField(FileWindow& file, int64_t offset) {
  constexpr unsigned maxLength = INT16_MAX;
  ScannedField field;
  field.offset = offset;
  field.fault = FieldFault::Cut;
  const unsigned char* first = file.At(offset, 1);
  if (first == nullptr) return field;
  field.prefixed = *first == CARRIAGE_CONTROL;
  const int64_t start = offset + (field.prefixed ? 1 : 0);
  const unsigned char* bytes = file.At(start, SF_INTRODUCER_LENGTH);
  if (bytes == nullptr) return field;
  field.length = GetBig16(bytes);
  field.identifier = GetBig32(bytes + 2) >> 8;
  field.flags = bytes[5];

  if (bytes[2] != SF_CLASS) {
    field.fault = FieldFault::Class;
  } else if (field.length < SF_INTRODUCER_LENGTH || field.length > maxLength) {
    field.fault = FieldFault::Length;
  } else {
    field.fault = FieldFault::None;
  }
  if (field.fault != FieldFault::None) return field;

  if ((field.flags & SF_FLAG_EXTENSION) != 0) {
    const unsigned char* extension = file.At(start + SF_INTRODUCER_LENGTH, 1);
    const unsigned length = extension != nullptr ? *extension : 0;
    if (extension == nullptr) {
      field.fault = FieldFault::Cut;
    } else if (length == 0 || length + SF_INTRODUCER_LENGTH > field.length) {
      field.fault = FieldFault::Extension;
    } else {
      field.extension = length;
    }
    if (field.fault != FieldFault::None) return field;
  }
  if (field.End() > file.Size()) field.fault = FieldFault::CutData;
  return field;
}

}  // namespace kz
