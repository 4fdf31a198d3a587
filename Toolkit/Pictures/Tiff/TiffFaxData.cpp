#include "Toolkit/Pictures/Tiff/TiffFaxData.h"

#include <algorithm>
#include <utility>

#include "Host/Fax/Fax.h"
#include "Host/Kernel/Kernel.h"

namespace kz {

namespace {

// The coding that the tags say; false for none that others know as they are.
bool FindCoding(TIFF* tiff, const TiffTags& tags, PictureData& data) {
  uint32_t options = 0;
  if (tags.compression == COMPRESSION_CCITTFAX4) {
    TIFFGetFieldDefaulted(tiff, TIFFTAG_GROUP4OPTIONS, &options);
    data.coding = PictureCoding::kGroup4;
    return (options & GROUP4OPT_UNCOMPRESSED) == 0;
  }
  if (tags.compression != COMPRESSION_CCITTFAX3) return false;
  TIFFGetFieldDefaulted(tiff, TIFFTAG_GROUP3OPTIONS, &options);
  data.coding = (options & GROUP3OPT_2DENCODING) != 0 ? PictureCoding::kGroup3TwoD
                                                      : PictureCoding::kGroup3OneD;
  return (options & GROUP3OPT_UNCOMPRESSED) == 0;
}

// Whether the data begin with an EOL code, fill bits before it or not.
bool BeginsWithEndOfLine(const std::vector<unsigned char>& data) {
  constexpr int zeros = 11;
  const auto byte = std::find_if(data.begin(), data.end(), [](unsigned char b) { return b != 0; });
  if (byte == data.end()) return false;
  int count = static_cast<int>(std::min<ptrdiff_t>(byte - data.begin(), zeros)) * 8;
  for (int bit = 7; (*byte >> bit & 1) == 0; --bit) ++count;
  return count >= zeros;
}

// Decodes the data without their picture and notes what they hold. False when they aren't
// whole, or are Group 3 without EOL codes, for which others have no sign.
bool CheckData(PictureData& data) {
  const bool group4 = data.coding == PictureCoding::kGroup4;
  _LOADINFO info{};
  info.nFormat = group4                                      ? K_FAX_G4
                 : data.coding == PictureCoding::kGroup3OneD ? K_FAX_G3_1D
                                                             : K_FAX_G3_2D;
  info.nWidth = static_cast<uint32_t>(data.width);
  info.nHeight = static_cast<uint32_t>(data.height);
  info.nBitsPerPixel = 1;
  FaxCheck check{};
  if (K_CheckRawFax(data.data.data(), data.data.size(), &info, &check) != K_SUCCESS) return false;
  if (check.nReplaced + check.nAfterMarker + check.nDamagedEndOfLines != 0) return false;
  data.hasEndOfLines = !group4 && check.bEndOfLines;
  data.alignedEndOfLines = !group4 && check.bAlignedEndOfLines;
  data.endsWithMarker = check.bEndMarker;
  return group4 || data.hasEndOfLines;
}

}  // namespace

Outcome ReadRawStrip(TiffFile& file, uint32_t strip, uint64_t fileSize,
                     std::vector<unsigned char>& data) {
  const uint64_t size = TIFFGetStrileByteCount(file.Get(), strip);
  if (size > fileSize) return Failure(K_ERROR_READ);
  data.resize(static_cast<size_t>(size));
  if (TIFFReadRawStrip(file.Get(), strip, data.data(), static_cast<tmsize_t>(size)) !=
      static_cast<tmsize_t>(size)) {
    return file.Complained() ? file.Complaint(K_ERROR_READ) : Failure(K_ERROR_READ);
  }
  return {};
}

bool TakeTiffFaxData(TiffFile& file, const TiffTags& tags, uint64_t fileSize, bool check,
                     PictureData& data) {
  const bool upright =
      tags.orientation < ORIENTATION_TOPRIGHT || tags.orientation > ORIENTATION_LEFTBOT;
  data.bottomUp = tags.orientation == ORIENTATION_BOTLEFT;
  if (tags.tiled || !IsGray(tags) || SampleDepth(tags) != 1 || !(upright || data.bottomUp)) {
    return false;
  }
  if (!FindCoding(file.Get(), tags, data)) return false;
  data.width = static_cast<int>(tags.width);
  data.height = static_cast<int>(tags.height);
  data.whiteIsOne = tags.photometric == PHOTOMETRIC_MINISBLACK;

  const bool group4 = data.coding == PictureCoding::kGroup4;
  const uint32_t strips = TIFFNumberOfStrips(file.Get());
  if (strips == 0 || (strips > 1 && (group4 || !check))) return false;
  uint16_t fillOrder = FILLORDER_MSB2LSB;
  TIFFGetFieldDefaulted(file.Get(), TIFFTAG_FILLORDER, &fillOrder);
  std::vector<unsigned char> strip;
  data.data.clear();
  for (uint32_t i = 0; i < strips; ++i) {
    if (!ReadRawStrip(file, i, fileSize, strip).Ok()) return false;
    if (strip.size() > fileSize - data.data.size()) return false;
    if (fillOrder == FILLORDER_LSB2MSB) {
      TIFFReverseBits(strip.data(), static_cast<tmsize_t>(strip.size()));
    }
    // The zeros that end a strip are fill bits before the next one's first EOL.
    if (!group4 && !BeginsWithEndOfLine(strip)) return false;
    if (i == 0) {
      data.data = std::exchange(strip, {});
    } else {
      data.data.insert(data.data.end(), strip.begin(), strip.end());
    }
  }
  // Its own warnings are for whoever sees the picture.
  return !data.data.empty() && !file.Complained() && file.DataWarnings().warnings.empty() &&
         (!check || CheckData(data));
}

}  // namespace kz
