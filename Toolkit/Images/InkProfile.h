// ICC profiles of printing inks.
#pragma once

#include <vector>

#include "Toolkit/Files/FileWindow.h"
#include "Toolkit/Images/PicturePlace.h"

namespace kz {

// A profile of cyan, magenta, yellow and black in the object container at `place`: in a colour
// management resource, after that one's own header, or by itself. Empty when there is none.
std::vector<unsigned char> FindInkProfile(FileWindow& file, ByteRange place);

}  // namespace kz
