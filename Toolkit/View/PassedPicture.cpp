#include "Toolkit/View/PassedPicture.h"

#include <algorithm>
#include <cstddef>

#include "Toolkit/Imaging/JpegCodec.h"

namespace kz {

bool ReadPassedData(const ShownPicture& shown, const LoadOptions& options, PictureData& data) {
  bool passes = false;
  const Outcome read = shown.document->ReadPictureData(shown.picture, options, true, data, passes);
  if (!read.Ok() || !read.warnings.empty() || !passes || data.bottomUp) return false;
  // Inks have no colour of their own here, and decoders take plain RGB for another space.
  return data.coding != PictureCoding::kJpeg ||
         (data.components != 4 && !HoldsPlainRgb(data.data.data(), data.data.size()));
}

bool IsBlackOnWhite(const Bitmap& bitmap) {
  if (bitmap.BitsPerPixel() != 1) return false;
  const unsigned char* colors = bitmap.Palette();
  if (colors == nullptr || bitmap.Colors() < 2) return true;
  constexpr ptrdiff_t entry = 4;
  const auto all = [](const unsigned char* color, unsigned char value) {
    return std::all_of(color, color + 3, [value](unsigned char part) { return part == value; });
  };
  return all(colors, 0xFF) && all(colors + entry, 0);
}

}  // namespace kz
