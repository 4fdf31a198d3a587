// A page of a TIFF file on its way out.
#pragma once

#include <tiffio.h>

#include <cstdint>
#include <vector>

#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Pictures/PictureFormats.h"
#include "Toolkit/Pictures/Tiff/TiffFile.h"

namespace kz {

// The tags of a page, in libtiff's values, and its coded data if they are known.
struct TiffPage : PreparedPicture {
  int width = 0;
  int height = 0;
  int samples = 1;
  int bitsPerSample = 1;
  int rowsPerStrip = 0;
  uint16_t photometric = PHOTOMETRIC_MINISWHITE;
  uint16_t compression = COMPRESSION_NONE;
  uint16_t predictor = 0;  // 0: the tag isn't written
  uint16_t orientation = ORIENTATION_TOPLEFT;
  uint32_t group3Options = 0;      // of COMPRESSION_CCITTFAX3
  std::vector<uint16_t> colorMap;  // 256 reds, greens and blues; empty for none
  int xResolution = 0;             // dots per inch; 0 = not known
  int yResolution = 0;

  std::vector<unsigned char> data;  // the strips, one after the other
  std::vector<size_t> stripSizes;   // bytes
};

// Rows of so many bytes that are put into one strip.
int RowsPerStrip(size_t rowBytes);
// How a bitmap is stored: one Group 4 strip for 1 bit, LZW strips for more.
TiffPage DescribeTiffPage(const Bitmap& bitmap);
// Sets the tags of the file's page that comes next.
void SetTiffTags(TIFF* tiff, const TiffPage& page);
// Writes a row, counted from 0, that has as many bytes as the page's tags say; false when
// libtiff complained.
bool WriteTiffRow(TiffFile& file, const unsigned char* row, int number);
// Writes the rows of a bitmap of more than 1 bit into the page that its tags were set for.
Outcome WriteTiffRows(TiffFile& file, const Bitmap& bitmap);
// Codes the same rows without a file. The page's tags are DescribeTiffPage's.
Outcome EncodeTiffStrips(const Bitmap& bitmap, TiffPage& page);

}  // namespace kz
