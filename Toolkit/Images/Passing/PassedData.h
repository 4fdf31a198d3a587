// Stored data of a picture that other formats may carry as they are.
#pragma once

#include <cstdint>
#include <vector>

#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Images/DecodedImage.h"
#include "Toolkit/Pictures/PictureData.h"

namespace kz {

// One piece of data, and what the file says of them.
struct StoredData {
  uint32_t fax = 0;  // K_FAX_*; 0: JPEG
  int width = 0;     // pixels; 0: as the data have it
  int height = 0;
  int depth = 0;  // of a JPEG picture, bits per pixel; 0: as the data have it
  int xResolution = 0;
  int yResolution = 0;
  bool bottomUp = false;
  bool reversedBits = false;  // of fax data
  std::vector<unsigned char> bytes;
};

// Whether data of this K_FAX_* code may.
bool MayPass(uint32_t fax);

// Whether other decoders, which know only what `data` says, make of the data the picture that
// the readers here make of them; `data` has them then. They aren't decoded, but for the
// first rows of Group 3 data.
bool PassData(StoredData&& stored, const LoadOptions& options, PictureData& data);

// Whether the data decode whole: see CheckPictureData in Document.h.
bool DecodeToCheck(PictureData& data, int64_t maxPixels);

}  // namespace kz
