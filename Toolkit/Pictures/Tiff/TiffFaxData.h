// Group 3 and Group 4 data of a TIFF page, taken as they are.
#pragma once

#include "Toolkit/Pictures/PictureData.h"
#include "Toolkit/Pictures/Tiff/TiffFile.h"
#include "Toolkit/Pictures/Tiff/TiffSamples.h"

namespace kz {

// Takes a strip's bytes, at most so many. -7 when they can't be read.
Outcome ReadRawStrip(TiffFile& file, uint32_t strip, uint64_t fileSize,
                     std::vector<unsigned char>& data);

// Takes the data of a 1-bit page for another format, but no resolution: one strip of Group
// 4, or strips of Group 3 whose rows follow EOL codes; joined, they are such data again. With
// `check` they are decoded, and data that aren't whole aren't taken; strips are joined only
// then. False: the page has no such data.
bool TakeTiffFaxData(TiffFile& file, const TiffTags& tags, uint64_t fileSize, bool check,
                     PictureData& data);

}  // namespace kz
