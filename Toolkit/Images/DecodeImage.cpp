#include "Toolkit/Images/DecodeImage.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "Toolkit/Images/Decoding/BilevelColor.h"
#include "Toolkit/Images/Decoding/CodedPicture.h"
#include "Toolkit/Images/Decoding/ImageCoding.h"
#include "Toolkit/Images/Decoding/InkConversion.h"
#include "Toolkit/Images/Decoding/TileDecoding.h"

namespace kz {

namespace {

// Dots per inch of a number of points per unit base; 0 for a base that is a ratio.
int DotsPerInch(int units, uint8_t unitBase) {
  if (units <= 0) return 0;
  if (unitBase == kBaseTenInches) return (units + 5) / 10;
  return unitBase == kBaseTenCentimetres ? static_cast<int>((int64_t{units} * 254 + 500) / 1000)
                                         : 0;
}

// The first pair that is known is the picture's.
struct Resolution {
  int x = 0;
  int y = 0;
  void OrElse(int otherX, int otherY) {
    if (x > 0 && y > 0) return;
    x = otherX;
    y = otherY;
  }
};

Resolution FindResolution(const ImageParameters& parameters, const ImageDescriptor& descriptor) {
  Resolution resolution = {DotsPerInch(parameters.xUnits, parameters.unitBase),
                           DotsPerInch(parameters.yUnits, parameters.unitBase)};
  resolution.OrElse(DotsPerInch(descriptor.xUnits, descriptor.unitBase),
                    DotsPerInch(descriptor.yUnits, descriptor.unitBase));
  return resolution;
}

// Makes the pixels white whose bit in the mask is 0.
void ApplyMask(const Bitmap& mask, CodedPicture& picture) {
  const int width = std::min(mask.Width(), picture.Width());
  const int height = std::min(mask.Height(), picture.Height());
  const size_t pixelBytes = static_cast<size_t>(picture.Depth()) / 8;
  for (int y = 0; y < height; ++y) {
    const unsigned char* bits = mask.TopDownRow(y);
    unsigned char* row = picture.HasInks()
                             ? picture.inks.rows.data() +
                                   static_cast<size_t>(y) * static_cast<size_t>(picture.Width()) * 4
                             : picture.bitmap.TopDownRow(y);
    for (int x = 0; x < width; ++x) {
      if ((bits[x / 8] >> (7 - x % 8) & 1) != 0) continue;
      if (pixelBytes == 0) {
        row[x / 8] &= static_cast<unsigned char>(~(0x80 >> x % 8));
      } else {
        std::memset(row + static_cast<size_t>(x) * pixelBytes, picture.HasInks() ? 0 : 0xFF,
                    pixelBytes);
      }
    }
  }
}

Outcome DecodeMask(const CodedImage& mask, const LoadOptions& options, CodedPicture& picture) {
  CodedPicture decoded;
  const CodedOptions maskOptions = {options.maxPixels, options.strict, options.complete, false};
  Outcome outcome = DecodeCodedImage(mask, maskOptions, decoded);
  if (outcome.Ok() && decoded.Depth() != 1) {
    outcome = Failure(K_ERROR_INVALID_FORMAT, "it isn't bilevel");
  }
  if (outcome.Ok()) {
    ApplyMask(decoded.bitmap, picture);
    picture.damaged = picture.damaged || decoded.damaged;
    for (const std::string& warning : decoded.warnings) {
      picture.warnings.push_back("the mask: " + warning);
    }
    return outcome;
  }
  if (options.RefusesMissingRows()) return outcome;
  picture.damaged = true;
  picture.warnings.push_back("the mask is left out: " + outcome.what);
  return {};
}

void CutInks(const ImageDescriptor& descriptor, InkPicture& inks) {
  int width = inks.width;
  int height = inks.height;
  if (!CutSize(descriptor, width, height)) return;
  const auto rowBytes = static_cast<size_t>(inks.width) * 4;
  const auto cutBytes = static_cast<size_t>(width) * 4;
  for (size_t y = 0; y < static_cast<size_t>(height) && cutBytes < rowBytes; ++y) {
    std::memmove(inks.rows.data() + y * cutBytes, inks.rows.data() + y * rowBytes, cutBytes);
  }
  inks.rows.resize(cutBytes * static_cast<size_t>(height));
  inks.width = width;
  inks.height = height;
}

// Cuts a bitmap with its palette.
int CutBitmap(int width, int height, Bitmap& bitmap) {
  Bitmap cut;
  int status = cut.Create(width, height, bitmap.BitsPerPixel(), bitmap.ColorOrder());
  if (status == K_SUCCESS && bitmap.Palette() != nullptr) {
    status = cut.SetPalette(bitmap.Palette(), bitmap.Colors());
  }
  if (status != K_SUCCESS) return status;
  cut.SetResolution(bitmap.XResolution(), bitmap.YResolution());
  const size_t bits = static_cast<size_t>(width) * static_cast<size_t>(bitmap.BitsPerPixel());
  const size_t bytes = (bits + 7) / 8;
  for (int y = 0; y < height; ++y) {
    unsigned char* row = cut.TopDownRow(y);
    std::memcpy(row, bitmap.TopDownRow(y), bytes);
    if (bits % 8 != 0) row[bytes - 1] &= static_cast<unsigned char>(0xFF00u >> bits % 8);
  }
  bitmap = std::move(cut);
  return K_SUCCESS;
}

int ColorBits(const RgbColor& color, Bitmap& bitmap) {
  Bitmap colored;
  const int status = colored.Create(bitmap.Width(), bitmap.Height(), 24, K_ORDER_RGB);
  if (status != K_SUCCESS) return status;
  colored.SetResolution(bitmap.XResolution(), bitmap.YResolution());
  for (int y = 0; y < bitmap.Height(); ++y) {
    const unsigned char* bits = bitmap.TopDownRow(y);
    unsigned char* row = colored.TopDownRow(y);
    std::memset(row, 0xFF, static_cast<size_t>(bitmap.Width()) * 3);
    for (int x = 0; x < bitmap.Width(); ++x, row += 3) {
      if ((bits[x / 8] >> (7 - x % 8) & 1) != 0) std::copy(color.begin(), color.end(), row);
    }
  }
  bitmap = std::move(colored);
  return K_SUCCESS;
}

Outcome DecodeContent(const ImageContent& content, const ImageDescriptor& descriptor,
                      const LoadOptions& options, CodedPicture& picture) {
  Outcome outcome;
  if (content.tiled) {
    outcome = DecodeTiles(content, descriptor, options, picture);
  } else {
    const CodedOptions imageOptions = {options.maxPixels, options.strict, options.complete, false};
    outcome = DecodeCodedImage(content.image, imageOptions, picture);
  }
  if (outcome.Ok() && content.mask) outcome = DecodeMask(*content.mask, options, picture);
  return outcome;
}

Outcome Finish(const ImageContent& content, const ImageDescriptor& descriptor,
               const LoadOptions& options, CodedPicture& picture, DecodedImage& image) {
  Resolution resolution = FindResolution(content.image.parameters, descriptor);
  if (picture.HasInks() && options.keepInks) {
    image.inks = std::move(picture.inks);
    CutInks(descriptor, image.inks);
    image.inks.xResolution = resolution.x;
    image.inks.yResolution = resolution.y;
    if (image.inks.profile.empty() && options.profile != nullptr) {
      image.inks.profile = *options.profile;
    }
    return {};
  }
  Outcome outcome;
  if (picture.HasInks()) {
    outcome = InkPictureConverter(options.profile).Convert(picture.inks, image.bitmap);
    if (!outcome.Ok()) return outcome;
    picture.inks = {};
  } else {
    image.bitmap = std::move(picture.bitmap);
  }
  resolution.OrElse(image.bitmap.XResolution(), image.bitmap.YResolution());
  image.bitmap.SetResolution(resolution.x, resolution.y);
  Outcome applied = ApplyDescriptor(descriptor, image.bitmap);
  applied.warnings.insert(applied.warnings.end(), outcome.warnings.begin(), outcome.warnings.end());
  return applied;
}

}  // namespace

ImageShape ShapeOf(const ImageContent& content, const ImageDescriptor& descriptor) {
  ImageShape shape =
      content.tiled ? ShapeOfTiles(content, descriptor) : ShapeOfCoded(content.image);
  const bool hasData = std::any_of(content.image.bands.begin(), content.image.bands.end(),
                                   [](const auto& band) { return !band.empty(); });
  if (!content.tiled && hasData && (shape.width == 0 || shape.height == 0)) {
    CodedPicture picture;
    if (DecodeCodedImage(content.image, {}, picture).Ok()) {
      shape.width = picture.Width();
      shape.height = picture.Height();
      shape.bitsPerPixel = picture.Depth();
    }
  }
  if (shape.bitsPerPixel == 1 && IsColored(descriptor)) shape.bitsPerPixel = 24;
  const Resolution resolution = FindResolution(content.image.parameters, descriptor);
  shape.xResolution = resolution.x;
  shape.yResolution = resolution.y;
  return shape;
}

std::string Unsupported(const ImageContent& content) {
  std::string what;
  const auto check = [&what](const CodedImage& image) {
    if (what.empty()) what = CheckSupported(image).what;
  };
  if (!content.tiled) check(content.image);
  for (const ImageTile& tile : content.tiles) check(tile.image);
  return what;
}

bool IsColored(const ImageDescriptor& descriptor) { return ColorOf(descriptor) != kBlack; }

void ApplyResolution(const ImageDescriptor& descriptor, int& x, int& y) {
  Resolution resolution = {x, y};
  resolution.OrElse(DotsPerInch(descriptor.xUnits, descriptor.unitBase),
                    DotsPerInch(descriptor.yUnits, descriptor.unitBase));
  x = resolution.x;
  y = resolution.y;
}

Outcome ApplyDescriptor(const ImageDescriptor& descriptor, Bitmap& bitmap) {
  int status = K_SUCCESS;
  int width = bitmap.Width();
  int height = bitmap.Height();
  if (CutSize(descriptor, width, height)) status = CutBitmap(width, height, bitmap);
  if (status == K_SUCCESS && bitmap.BitsPerPixel() == 1 && bitmap.Palette() == nullptr) {
    const RgbColor color = ColorOf(descriptor);
    if (color != kBlack) status = ColorBits(color, bitmap);
  }
  if (status != K_SUCCESS) return Failure(status);
  int x = bitmap.XResolution();
  int y = bitmap.YResolution();
  ApplyResolution(descriptor, x, y);
  bitmap.SetResolution(x, y);
  return {};
}

Outcome DecodeImage(const ImageContent& content, const ImageDescriptor& descriptor,
                    const LoadOptions& options, DecodedImage& image, bool& damaged) {
  image = {};
  damaged = false;
  Outcome outcome;
  try {
    // One part of a kind that can't be read makes a wrong picture of the others.
    const std::string unsupported = Unsupported(content);
    if (!unsupported.empty()) return Failure(K_ERROR_INVALID_FORMAT, unsupported);
    CodedPicture picture;
    outcome = DecodeContent(content, descriptor, options, picture);
    if (outcome.Ok()) outcome = Finish(content, descriptor, options, picture, image);
    if (outcome.Ok()) {
      damaged = picture.damaged;
      outcome.warnings.insert(outcome.warnings.begin(), picture.warnings.begin(),
                              picture.warnings.end());
    }
  } catch (const std::bad_alloc&) {
    outcome = Failure(K_ERROR_NO_MEMORY);
  }
  if (!outcome.Ok()) image = {};
  return outcome;
}

}  // namespace kz
