// What structured fields are called: acronyms and words of the MO:DCA and FOCA
// registries.
#pragma once

#include <cstdint>
#include <string>

#include "Host/Kernel/Export.h"

namespace kz {

struct StructuredFieldName {
  uint16_t code;  // type and category, type in the high byte
  const char* acronym;
  const char* words;
};

// The names of a field; null for a field that isn't in common use.
K_EXPORT const StructuredFieldName* FindStructuredFieldName(uint16_t code);

// A field in a message: "Begin Page (BPG)", "field D3A8EE".
std::string FieldWords(uint16_t code);

}  // namespace kz
