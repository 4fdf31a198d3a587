#include "Toolkit/View/Html/HtmlPicture.h"

#include <algorithm>
#include <new>

#include "Toolkit/Imaging/JpegCodec.h"
#include "Toolkit/Pictures/Png/PngData.h"

namespace kz {

namespace {

// Whether the data of a picture go as they are.
bool PassJpeg(const ShownPicture& shown, const LoadOptions& options,
              std::vector<unsigned char>& jpeg) {
  PictureData data;
  bool passes = false;
  const Outcome read = shown.document->ReadPictureData(shown.picture, options, true, data, passes);
  if (!read.Ok() || !read.warnings.empty() || !passes || data.bottomUp) return false;
  // Inks have no colour of their own here, and browsers take plain RGB for another space.
  if (data.coding != PictureCoding::kJpeg || data.components == 4 ||
      HoldsPlainRgb(data.data.data(), data.data.size())) {
    return false;
  }
  jpeg = std::move(data.data);
  return true;
}

// Whether 1 bits are black and others white.
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

}  // namespace

HtmlPicture MakeHtmlPicture(const ShownPicture& shown, const LoadOptions& options) try {
  HtmlPicture picture;
  if (PassJpeg(shown, options, picture.data)) {
    picture.type = "image/jpeg";
  } else {
    Bitmap bitmap;
    picture.outcome = shown.document->LoadPicture(shown.picture, options, bitmap);
    if (!picture.outcome.Ok()) return picture;
    Outcome encoded = EncodePng(bitmap, IsBlackOnWhite(bitmap), picture.data);
    if (!encoded.Ok()) {
      picture.outcome = std::move(encoded);
      picture.data.clear();
      return picture;
    }
  }
  picture.digest = Sha256(picture.data.data(), picture.data.size());
  return picture;
} catch (const std::bad_alloc&) {
  HtmlPicture picture;
  picture.outcome = Failure(K_ERROR_NO_MEMORY);
  return picture;
}

}  // namespace kz
