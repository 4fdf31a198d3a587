#include "Toolkit/Images/Passing/PassedData.h"

#include <algorithm>
#include <iterator>

#include "Host/Fax/Fax.h"
#include "Toolkit/Base/ReversedBits.h"
#include "Toolkit/Images/Passing/PassedJpeg.h"

namespace kz {

namespace {

// Rows of Group 3 data that show how all are laid out.
constexpr int kRowsOfLayout = 16;

struct FaxCoding {
  PictureCoding coding;
  uint32_t fax;
};
constexpr FaxCoding kFaxCodings[] = {{PictureCoding::kGroup4, K_FAX_G4},
                                     {PictureCoding::kGroup3OneD, K_FAX_G3_1D},
                                     {PictureCoding::kGroup3TwoD, K_FAX_G3_2D}};

uint32_t FaxCodeOf(PictureCoding coding) {
  const auto* row =
      std::find_if(std::begin(kFaxCodings), std::end(kFaxCodings),
                   [coding](const FaxCoding& known) { return known.coding == coding; });
  return row != std::end(kFaxCodings) ? row->fax : 0;
}

PictureCoding CodingOf(uint32_t fax) {
  const auto* row = std::find_if(std::begin(kFaxCodings), std::end(kFaxCodings),
                                 [fax](const FaxCoding& known) { return known.fax == fax; });
  return row != std::end(kFaxCodings) ? row->coding : PictureCoding::kJpeg;
}

// Decodes so many rows, and takes over how they are laid out. False when anything is wrong with
// them.
bool CheckFaxRows(PictureData& data, int rows) {
  _LOADINFO info = {};
  info.nFormat = FaxCodeOf(data.coding);
  info.nWidth = static_cast<uint32_t>(data.width);
  info.nHeight = static_cast<uint32_t>(rows);
  info.nBitsPerPixel = 1;
  FaxCheck check = {};
  const int status = K_CheckRawFax(data.data.data(), data.data.size(), &info, &check);
  if (status != K_SUCCESS || check.nRows != rows || check.nReplaced > 0 || check.nAfterMarker > 0 ||
      check.nDamagedEndOfLines > 0) {
    return false;
  }
  data.endsWithMarker = check.bEndMarker;
  if (data.coding == PictureCoding::kGroup4) return true;
  data.hasEndOfLines = check.bEndOfLines;
  data.alignedEndOfLines = check.bEndOfLines && check.bAlignedEndOfLines;
  // Without EOL nothing says how a row is coded.
  return check.bEndOfLines || data.coding == PictureCoding::kGroup3OneD;
}

bool PassFax(const StoredData& stored, const LoadOptions& options, PictureData& data) {
  if (!CheckPictureSize(data.width, data.height, 1, options.maxPixels).Ok()) return false;
  if (stored.reversedBits) ReverseBits(data.data);
  // Rows that were coded wider than the picture show in the first of them.
  return data.coding == PictureCoding::kGroup4 ||
         CheckFaxRows(data, std::min(data.height, kRowsOfLayout));
}

bool PassJpeg(const StoredData& stored, const LoadOptions& options, PictureData& data) {
  JpegMarks marks;
  if (!ReadJpegMarks(data.data, options.maxPixels, marks) || !marks.plain) return false;
  const int depth = marks.components == 1 ? 8 : 24;
  if (stored.depth != 0 && stored.depth != depth) return false;
  if (!CheckPictureSize(marks.width, marks.height, depth, options.maxPixels).Ok()) return false;
  if (marks.components == 4 && (marks.hasProfile || options.keepInks)) {
    return false;
  }
  data.width = marks.width;
  data.height = marks.height;
  data.components = marks.components;
  data.invertedInks = marks.components == 4 && marks.adobe;
  if (data.xResolution == 0 || data.yResolution == 0) {
    data.xResolution = marks.xResolution;
    data.yResolution = marks.yResolution;
  }
  return true;
}

}  // namespace

bool MayPass(uint32_t fax) { return CodingOf(fax) != PictureCoding::kJpeg; }

bool PassData(StoredData&& stored, const LoadOptions& options, PictureData& data) {
  data = {};
  data.coding = CodingOf(stored.fax);
  data.width = stored.width;
  data.height = stored.height;
  data.xResolution = stored.xResolution;
  data.yResolution = stored.yResolution;
  data.bottomUp = stored.bottomUp;
  data.data = std::move(stored.bytes);
  const bool passes =
      stored.fax != 0 ? PassFax(stored, options, data) : PassJpeg(stored, options, data);
  if (!passes) data = {};
  return passes;
}

bool DecodeToCheck(PictureData& data, int64_t maxPixels) {
  return data.coding == PictureCoding::kJpeg ? IsWholeJpeg(data.data, maxPixels)
                                             : CheckFaxRows(data, data.height);
}

}  // namespace kz
