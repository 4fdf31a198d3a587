// From coded image data to a picture.
#pragma once

#include <string>

#include "Toolkit/Base/Tested.h"
#include "Toolkit/Images/DecodedImage.h"
#include "Toolkit/Images/ImageContent.h"

namespace kz {

// What the picture will be: its size, bits per pixel of 1, 8, 24 or 32 (inks), and dots per
// inch, 0 = not known.
struct ImageShape {
  int width = 0;
  int height = 0;
  int bitsPerPixel = 0;
  int xResolution = 0;
  int yResolution = 0;
};

// The shape of a content, before the descriptor cuts it. Sizes that only the data say
// are taken from them when `content` has data, else they stay 0.
KZ_TESTED ImageShape ShapeOf(const ImageContent& content, const ImageDescriptor& descriptor);

// What no decoder is there for, with the place: "RL4 compression at byte 8120 is not
// supported". Empty when there is nothing of the kind. Needs no data.
KZ_TESTED std::string Unsupported(const ImageContent& content);

// Whether the descriptor gives the 1 bits of a bilevel picture another colour than black.
KZ_TESTED bool IsColored(const ImageDescriptor& descriptor);

// Makes the picture: decodes bands and tiles, puts them together, takes a mask and the
// descriptor's size and colours into account, converts the colours. Damaged data give the
// rows before the fault (Group 3: also those after it), the rest white, with a warning
// that says which rows; `damaged` is set then. Fails with -9 for a picture above the limit
// or what isn't supported, with the place ("RL4 compression at byte 8120 is not
// supported"), -7 when the data give not one row, -1 for no memory.
KZ_TESTED Outcome DecodeImage(const ImageContent& content, const ImageDescriptor& descriptor,
                              const LoadOptions& options, DecodedImage& image, bool& damaged);

// Gives the descriptor's resolution to a picture that lacks it.
void ApplyResolution(const ImageDescriptor& descriptor, int& x, int& y);

// Cuts a picture that was read another way to the descriptor's size, and gives the 1 bits
// of a bilevel one the descriptor's colour; it becomes one of 24 bits then, unless the
// colour is black. Resolution that the picture lacks is the descriptor's.
KZ_TESTED Outcome ApplyDescriptor(const ImageDescriptor& descriptor, Bitmap& bitmap);

}  // namespace kz
