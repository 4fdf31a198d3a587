// The colours that descriptors and tiles give the black of bilevel pictures.
#pragma once

#include <array>
#include <cstdint>

#include "Toolkit/Base/Tested.h"
#include "Toolkit/Images/ImageContent.h"

namespace kz {

using RgbColor = std::array<unsigned char, 3>;
constexpr RgbColor kBlack = {0, 0, 0};

// A colour of the Standard OCA Color Value Table; black for what it leaves to the device.
KZ_TESTED RgbColor NamedColor(uint16_t value);

// A colour in any of the spaces; black for one that isn't known. Inks are converted by the
// plain formula. A highlight colour is the named one of its number, as no device says else.
KZ_TESTED RgbColor ColorOf(const ColorValue& color);

// The one of the descriptor.
RgbColor ColorOf(const ImageDescriptor& descriptor);

}  // namespace kz
