// SHA-256 (FIPS 180-4): what a file says of its own scripts, and what tells pictures apart.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "Toolkit/Base/Tested.h"

namespace kz {

using Sha256Digest = std::array<unsigned char, 32>;
KZ_TESTED Sha256Digest Sha256(const void* bytes, size_t count);

// How a Content-Security-Policy names a script or style of this text: 'sha256-...'.
KZ_TESTED std::string PolicyHash(std::string_view text);

}  // namespace kz
