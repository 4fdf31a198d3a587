// What single self-defining fields say of an image.
#pragma once

#include "Format/SelfDefiningField.h"
#include "Toolkit/Base/Tested.h"
#include "Toolkit/Images/ImageContent.h"

namespace kz {

// More components an image can't have, nor more bands.
constexpr unsigned kMaxComponents = 15;

enum class Applied : uint8_t {
  Done,
  Damaged,    // too short, or a number that can't be
  OtherField  // that isn't one of an image's parameters
};

// Takes a field with image parameters.
Applied ApplyField(unsigned id, ByteSpan field, ImageParameters& parameters);

// The colour of a Tile Set Color field, or the rest of a Set Extended Bilevel Image Color
// field: `sizes` begins with the sizes of the components, after which the colour stands.
// None when there are fewer than four sizes.
KZ_TESTED std::optional<ColorValue> ColorOf(uint8_t space, ByteSpan sizes);

}  // namespace kz
