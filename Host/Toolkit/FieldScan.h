// Structured fields seen without the filter: where it would stop, the scan says why
// and its user decides how to go on.
#pragma once

#include <cstdint>

#include "API/Filters/Ica/Common/Ica.h"
#include "Host/Toolkit/FileWindow.h"

namespace kz {

// What is wrong with an introducer, in the order in which it is looked at.
enum class FieldFault {
  None,
  Cut,        // the file ends within the introducer
  Class,      // the class code is not D3
  Length,     // below 8 or above 32767
  Extension,  // its length is 0 or more than the field has
  CutData,    // the file ends within the field's data
};

struct ScannedField {
  int64_t offset = 0;       // of the 0x5A, or of the length bytes without one
  bool prefixed = false;    // has a 0x5A
  unsigned length = 0;      // of the field, introducer and extension included
  uint32_t identifier = 0;  // class, type and category
  unsigned flags = 0;
  unsigned extension = 0;  // its length, the length byte included
  FieldFault fault = FieldFault::None;

  uint16_t Code() const { return static_cast<uint16_t>(identifier); }
  int64_t DataOffset() const {
    return offset + (prefixed ? 1 : 0) + SF_INTRODUCER_LENGTH + extension;
  }
  unsigned DataLength() const { return length - SF_INTRODUCER_LENGTH - extension; }
  int64_t End() const { return offset + (prefixed ? 1 : 0) + length; }
};

// Looks at the field at the offset. What stands before a fault in the introducer is
// filled in.
ScannedField ScanField(FileWindow& file, int64_t offset);

}  // namespace kz
