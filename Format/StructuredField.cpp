// The introducer of structured fields ("Structured fields" of docs/format.md).
#include "Format/StructuredField.h"

namespace kz {

Introducer ParseIntroducer(ByteSpan bytes) {
  Introducer field;
  if (bytes.size() < kIntroducerLength) return field;
  field.length = GetBig16(bytes.data());
  field.classCode = bytes[2];
  field.code = GetBig16(bytes.data() + 3);
  field.flags = bytes[5];
  if (field.classCode != kFieldClass) {
    field.fault = FieldFault::Class;
  } else if (field.length < kIntroducerLength || field.length > kMaxFieldLength) {
    field.fault = FieldFault::Length;
  } else if ((field.flags & kFlagExtension) == 0) {
    field.fault = FieldFault::None;
  } else if (bytes.size() > kIntroducerLength) {
    const unsigned extension = bytes[kIntroducerLength];
    const bool fits = extension > 0 && extension + kIntroducerLength <= field.length;
    if (fits) field.extension = extension;
    field.fault = fits ? FieldFault::None : FieldFault::Extension;
  }
  return field;
}

Introducer ParseField(ByteSpan bytes) {
  const bool prefixed = !bytes.empty() && bytes[0] == kCarriageControl;
  Introducer field = ParseIntroducer(prefixed ? bytes.subspan(1) : bytes);
  field.prefixed = prefixed;
  return field;
}

}  // namespace kz
