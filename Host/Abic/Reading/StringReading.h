// Reading of code strings into images, with given parameters and with those that fit.
#pragma once

#include "Host/Abic/Abic.h"
#include "Host/Abic/AbicImage.h"

// Whether the code string can be long enough for the image: A lasts for at most
// kLeastInterval decisions before it is doubled, which takes a bit of the string (more in
// strings of earlier versions). This keeps a few bytes from asking for a big image.
bool CanHold(const AbicString& string);

// Bits of a string: a byte after kStuffedAfter has 7.
int64_t CodeBits(const AbicString& string);

// Reads a string of `codeBits` of an image of the layout as far as it goes. `imageRows`, which are
// 0, get the image; without them reading ends as soon as the string can't fit any more. The
// parameters' reversedBits have been seen to.
kz::AbicFit ReadString(const AbicString& string, int64_t codeBits,
                       const kz::AbicParameters& parameters, const AbicLayout& layout,
                       const AbicWorkspace& workspace, unsigned char* imageRows);
