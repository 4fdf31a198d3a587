#include "Toolkit/View/Html/HtmlPicture.h"

#include <new>
#include <utility>

#include "Toolkit/Pictures/Png/PngData.h"
#include "Toolkit/View/PassedPicture.h"

namespace kz {

HtmlPicture MakeHtmlPicture(const ShownPicture& shown, const LoadOptions& options) try {
  HtmlPicture picture;
  PictureData data;
  if (ReadPassedData(shown, options, data) && data.coding == PictureCoding::kJpeg) {
    picture.data = std::move(data.data);
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
