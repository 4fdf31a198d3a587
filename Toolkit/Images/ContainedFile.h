// Picture files that a document holds in object containers.
#pragma once

#include <vector>

#include "Toolkit/Files/FileWindow.h"
#include "Toolkit/Images/DecodeImage.h"
#include "Toolkit/Images/PictureInfo.h"
#include "Toolkit/Images/PicturePlace.h"

namespace kz {

// The file: the data of the container's Object Container Data fields, joined. -7 when there
// are none, -1 for no memory.
Outcome ReadContainedFile(FileWindow& file, const PicturePlace& place,
                          std::vector<unsigned char>& data);

// Fills in what the file says of its picture: format, size, depth and resolution.
Outcome DescribeContainedFile(FileWindow& file, const PicturePlace& place, PictureInfo& info);

// Makes the picture of a JPEG or TIFF file, whichever it is by its first bytes; of a TIFF
// file with several pages the first, with a warning. Damage as for DecodeImage. Fails with
// -9 for another file.
Outcome LoadContainedFile(FileWindow& file, const PicturePlace& place, const LoadOptions& options,
                          DecodedImage& image, bool& damaged);

}  // namespace kz
