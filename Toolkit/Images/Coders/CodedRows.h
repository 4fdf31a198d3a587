// How far a coder came with the rows of a picture.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "Host/Kernel/Status.h"

namespace kz {

using CodedBytes = std::span<const unsigned char>;

struct CodedRows {
  int status = K_SUCCESS;  // of the fault that ended the data early
  int rows = 0;            // that are there, from the first coded one on
  bool damaged = false;    // they are, but parts of them are wrong
  std::string what;        // words on the fault; may be empty
};

}  // namespace kz
