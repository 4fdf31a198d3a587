// Coded data as an image of a PDF file.
#pragma once

#include <string>

#include "Toolkit/Pictures/PictureData.h"

namespace kz {

// Whether a PDF image can have such data.
bool PdfTakes(const PictureData& data);
// The entries of the image's dictionary that say how its data are coded, each with a blank
// before it.
std::string PdfEntries(const PictureData& data);

}  // namespace kz
