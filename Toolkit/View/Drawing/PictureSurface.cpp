#include "Toolkit/View/Drawing/PictureSurface.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Toolkit/Base/ReversedBits.h"
#include "Toolkit/View/PassedPicture.h"

namespace kz {

namespace {

constexpr int kMostSide = 32767;

using Palette = std::array<uint32_t, 256>;

uint32_t Pixel(unsigned red, unsigned green, unsigned blue) {
  return red << 16 | green << 8 | blue;
}

// The colours of the values of up to 8 bits.
Palette PaletteOf(const Bitmap& bitmap) {
  Palette palette = {};
  const unsigned most = (1u << bitmap.BitsPerPixel()) - 1;
  for (unsigned value = 0; value <= most; ++value) {
    const unsigned char* entry = bitmap.Palette();
    const unsigned gray = bitmap.BitsPerPixel() == 1 ? 255 * (1 - value) : 255 * value / most;
    palette[value] = Pixel(gray, gray, gray);
    if (entry == nullptr || static_cast<int>(value) >= bitmap.Colors()) continue;
    entry += size_t{4} * value;
    palette[value] = Pixel(entry[0], entry[1], entry[2]);
  }
  return palette;
}

void PutColors(const Bitmap& bitmap, const Palette& palette, const unsigned char* row,
               unsigned char* to) {
  const int bits = bitmap.BitsPerPixel();
  const bool isRgb = bitmap.ColorOrder() == K_ORDER_RGB;
  const unsigned mask = (1u << std::min(bits, 8)) - 1;
  for (int x = 0; x < bitmap.Width(); ++x) {
    uint32_t pixel = 0;
    if (bits == 24) {
      const unsigned char* from = row + size_t{3} * static_cast<size_t>(x);
      pixel = isRgb ? Pixel(from[0], from[1], from[2]) : Pixel(from[2], from[1], from[0]);
    } else {
      const int first = x * bits;
      const int shift = 8 - bits - first % 8;
      pixel = palette[static_cast<unsigned>(row[first / 8] >> shift) & mask];
    }
    std::memcpy(to + size_t{4} * static_cast<size_t>(x), &pixel, sizeof(pixel));
  }
}

// The first pixel is the lowest bit of a word.
void PutMask(const Bitmap& bitmap, const unsigned char* row, unsigned char* to) {
  const size_t bytes = (static_cast<size_t>(bitmap.Width()) + 7) / 8;
  for (size_t i = 0; i < bytes; ++i) to[i] = kReversedBytes[row[i]];
}

Outcome CheckSides(int width, int height) {
  if (width <= kMostSide && height <= kMostSide) return {};
  return Failure(K_ERROR_INVALID_FORMAT, "a picture of " + std::to_string(width) + " x " +
                                             std::to_string(height) +
                                             " pixels is too large to be drawn");
}

// Gives a surface bytes of a type that stay as long as it does.
Outcome Attach(cairo_surface_t* surface, const char* type, std::vector<unsigned char> bytes) {
  auto kept = std::make_unique<std::vector<unsigned char>>(std::move(bytes));
  const std::vector<unsigned char>& data = *kept;
  const cairo_status_t status = cairo_surface_set_mime_data(
      surface, type, data.data(), data.size(),
      [](void* closure) { delete static_cast<std::vector<unsigned char>*>(closure); }, kept.get());
  if (status == CAIRO_STATUS_SUCCESS) (void)kept.release();
  return CairoOutcome(status);
}

// As Cairo takes the entries that a pdf file has of fax data.
std::string FaxParameters(const PictureData& data) {
  std::string entries =
      "Columns=" + std::to_string(data.width) + " Rows=" + std::to_string(data.height) + " K=-1";
  if (!data.endsWithMarker) entries += " EndOfBlock=false";
  if (data.whiteIsOne) entries += " BlackIs1=true";
  return entries;
}

// A picture whose data go as they are; false for one that needs its pixels.
bool PassData(const ShownPicture& shown, const LoadOptions& options, Passing passing,
              PictureSurface& picture) {
  PictureData data;
  if (!ReadPassedData(shown, options, data) || !CheckSides(data.width, data.height).Ok()) {
    return false;
  }
  const bool isJpeg = data.coding == PictureCoding::kJpeg;
  // Cairo 1.16 loses pictures of Group 3.
  const bool isFax = data.coding == PictureCoding::kGroup4;
  if (!isJpeg && (!isFax || passing != Passing::kJpegAndFax)) return false;
  picture.surface.reset(cairo_image_surface_create(CAIRO_FORMAT_RGB24, data.width, data.height));
  Outcome made = CairoOutcome(cairo_surface_status(picture.surface.get()));
  cairo_surface_t* surface = picture.surface.get();
  if (made.Ok() && !isJpeg) {
    const std::string parameters = FaxParameters(data);
    made = Attach(surface, CAIRO_MIME_TYPE_CCITT_FAX_PARAMS,
                  std::vector<unsigned char>(parameters.begin(), parameters.end()));
  }
  const char* type = isJpeg ? CAIRO_MIME_TYPE_JPEG : CAIRO_MIME_TYPE_CCITT_FAX;
  if (made.Ok()) made = Attach(surface, type, std::move(data.data));
  picture.width = data.width;
  picture.height = data.height;
  return made.Ok();
}

}  // namespace

Outcome LoadSurface(const ShownPicture& shown, const LoadOptions& options, Passing passing,
                    PictureSurface& picture) {
  if (passing != Passing::kNothing && PassData(shown, options, passing, picture)) return {};
  Bitmap bitmap;
  Outcome outcome = shown.document->LoadPicture(shown.picture, options, bitmap);
  if (!outcome.Ok()) return outcome;
  Outcome fits = CheckSides(bitmap.Width(), bitmap.Height());
  if (!fits.Ok()) return fits;
  picture.isMask = IsBlackOnWhite(bitmap);
  picture.width = bitmap.Width();
  picture.height = bitmap.Height();
  picture.surface.reset(cairo_image_surface_create(
      picture.isMask ? CAIRO_FORMAT_A1 : CAIRO_FORMAT_RGB24, picture.width, picture.height));
  cairo_surface_t* surface = picture.surface.get();
  Outcome made = CairoOutcome(cairo_surface_status(surface));
  if (!made.Ok()) return made;
  const Palette palette = bitmap.BitsPerPixel() <= 8 ? PaletteOf(bitmap) : Palette();
  unsigned char* to = cairo_image_surface_get_data(surface);
  const int stride = cairo_image_surface_get_stride(surface);
  for (int y = 0; y < picture.height; ++y, to += stride) {
    if (picture.isMask) {
      PutMask(bitmap, bitmap.TopDownRow(y), to);
    } else {
      PutColors(bitmap, palette, bitmap.TopDownRow(y), to);
    }
  }
  cairo_surface_mark_dirty(surface);
  return outcome;
}

}  // namespace kz
