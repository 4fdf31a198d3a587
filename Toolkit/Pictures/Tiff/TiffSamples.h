// The samples of a TIFF page, in strips or tiles, contiguous or by planes.
#pragma once

#include <cstdint>

#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Pictures/Tiff/TiffFile.h"

namespace kz {

// What the tags of a page say, with their defaults.
struct TiffTags {
  uint32_t width = 0;
  uint32_t height = 0;
  uint16_t bitsPerSample = 1;
  uint16_t samples = 1;
  uint16_t photometric = PHOTOMETRIC_MINISWHITE;
  uint16_t compression = COMPRESSION_NONE;
  uint16_t planes = PLANARCONFIG_CONTIG;
  uint16_t sampleFormat = SAMPLEFORMAT_UINT;
  uint16_t orientation = ORIENTATION_TOPLEFT;
  uint16_t inkSet = INKSET_CMYK;
  uint16_t* colorMap[3] = {};
  bool tiled = false;
  int alpha = -1;           // sample of the alpha channel; -1: there is none
  bool associated = false;  // colours are multiplied by alpha already
};

// Reads the tags of the current directory. The colour map stays libtiff's.
TiffTags ReadTiffTags(TIFF* tiff);

bool IsGray(const TiffTags& tags);

// Depth of the bitmap that the samples make: 1, 4, 8 or 24; 0 for a kind of page
// that isn't made of grey, mapped, RGB or CMYK samples of 1 to 16 bits.
int SampleDepth(const TiffTags& tags);

// Makes the samples a bitmap, top stored row first, transparent parts over white. The
// bitmap is empty, or half done, after a failure.
Outcome ReadTiffSamples(TiffFile& file, const TiffTags& tags, Bitmap& bitmap);

}  // namespace kz
