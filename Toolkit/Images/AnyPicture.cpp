#include "Toolkit/Images/AnyPicture.h"

#include "Toolkit/Images/ContainedFile.h"
#include "Toolkit/Images/Decoding/ImageCoding.h"
#include "Toolkit/Images/Decoding/PlainRows.h"
#include "Toolkit/Images/ImImage.h"
#include "Toolkit/Images/ImageContent.h"

namespace kz {

namespace {

std::string CountWords(size_t count, const char* what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

// What the parameters say, before the data are looked at.
void Describe(const ImageContent& content, const ImageDescriptor& descriptor, PictureInfo& info) {
  const CodedImage& first = content.tiles.empty() ? content.image : content.tiles[0].image;
  const ImageParameters& parameters = first.parameters;
  const char* name = FindCompressionName(parameters.compression);
  info.compression = name != nullptr ? name : "unknown";
  info.unsupported = Unsupported(content);
  const size_t bands = parameters.bandBits.size();
  if (content.tiled) info.layout = CountWords(content.tiles.size(), "tile");
  if (bands > 1) info.layout += (info.layout.empty() ? "" : " of ") + CountWords(bands, "band");
  if (content.mask.has_value()) info.layout += info.layout.empty() ? "masked" : ", masked";

  const ImageShape shape = ShapeOf(content, descriptor);
  info.width = shape.width;
  info.height = shape.height;
  info.bitsPerPixel = shape.bitsPerPixel;
  info.xResolution = shape.xResolution;
  info.yResolution = shape.yResolution;
  const bool whole = !CutSize(descriptor, info.width, info.height) && info.layout.empty();
  if (parameters.compression == RowOf(Compression::Jpeg).id) {
    info.coding = Coding::Jpeg;
    if (whole) info.storedAs = PictureFormat::kJpeg;
  }
}

Outcome DescribeImage(FileWindow& file, const PicturePlace& place, PictureInfo& info) {
  ImageContent content;
  Outcome outcome = ReadImageParameters(file, place, content);
  if (!outcome.Ok()) return outcome;
  const ImageDescriptor descriptor = ReadImageDescriptor(file, place);
  Describe(content, descriptor, info);
  if (info.width > 0 && info.height > 0 && info.coding != Coding::Jpeg) return outcome;
  // Only the data tell.
  outcome = ReadImageContent(file, place, content);
  if (outcome.Ok()) Describe(content, descriptor, info);
  return outcome;
}

LoadOptions WithProfile(LoadOptions options, const ProfileFinder& ownProfile) {
  if (SharedProfile profile = ownProfile ? ownProfile() : nullptr) {
    options.profile = std::move(profile);
  }
  return options;
}

Outcome LoadImage(FileWindow& file, const PicturePlace& place, const LoadOptions& options,
                  const ProfileFinder& ownProfile, DecodedImage& image, PictureInfo& info,
                  bool& damaged) {
  ImageContent content;
  PlainRows rows(options.maxPixels);
  Outcome outcome =
      ReadImageContent(file, place, content, [&](const ImageParameters& parameters, int64_t most) {
        return rows.RoomFor(parameters, most);
      });
  const bool plain = outcome.Ok() && content.fault == K_SUCCESS && !content.mask.has_value() &&
                     rows.Finish(content.inRoom, image.bitmap);
  if (!plain && content.inRoom > 0) outcome = ReadImageContent(file, place, content);
  if (!outcome.Ok()) return outcome;
  const ImageDescriptor descriptor = ReadImageDescriptor(file, place);
  Describe(content, descriptor, info);
  if (plain) {
    image.bitmap.SetResolution(info.xResolution, info.yResolution);
    outcome = ApplyDescriptor(descriptor, image.bitmap);
    outcome.warnings = std::move(content.warnings);
    return outcome;
  }
  const bool cut = content.fault != K_SUCCESS;
  if (options.RefusesMissingRows() && cut) return Failure(content.fault, content.warnings.back());
  // Tiles of inks may be part of a colour picture, and JPEG data may have more components
  // than is said.
  const bool mayHaveInks = info.bitsPerPixel >= 24 || info.coding == Coding::Jpeg;
  outcome = DecodeImage(content, descriptor,
                        mayHaveInks ? WithProfile(options, ownProfile) : options, image, damaged);
  damaged |= cut;
  outcome.warnings.insert(outcome.warnings.begin(), content.warnings.begin(),
                          content.warnings.end());
  return outcome;
}

// Whether data with these parameters are one piece that other formats may carry.
bool ContentMayPass(const ImageContent& content) {
  const ImageParameters& parameters = content.image.parameters;
  const bool jpeg = parameters.compression == coding::kJpeg;
  if (content.tiled || content.mask.has_value() || parameters.bandBits.size() > 1 ||
      !Unsupported(content).empty()) {
    return false;
  }
  if (jpeg) return !parameters.subtractive;
  // A height that isn't said is as many rows as there are, which is known too late.
  return MayPass(FaxCodeOf(parameters.compression)) && parameters.height > 0 &&
         ShapeOf(content, {}).bitsPerPixel == 1;
}

Outcome DescribeIm(FileWindow& file, const PicturePlace& place, PictureInfo& info) {
  ImImageShape shape;
  Outcome outcome = DescribeImImage(file, place, shape);
  if (!outcome.Ok()) return outcome;
  info.coding = Coding::Uncompressed;
  info.compression = "none";
  if (shape.celled) info.layout = "cells";
  info.width = shape.width;
  info.height = shape.height;
  info.bitsPerPixel = 1;
  info.xResolution = shape.xResolution;
  info.yResolution = shape.yResolution;
  return outcome;
}

void TakeSize(const DecodedImage& image, PictureInfo& info) {
  const Bitmap& bitmap = image.bitmap;
  info.width = bitmap.Empty() ? image.inks.width : bitmap.Width();
  info.height = bitmap.Empty() ? image.inks.height : bitmap.Height();
  info.xResolution = bitmap.Empty() ? image.inks.xResolution : bitmap.XResolution();
  info.yResolution = bitmap.Empty() ? image.inks.yResolution : bitmap.YResolution();
}

}  // namespace

Outcome DescribeAnyPicture(FileWindow& file, const PicturePlace& place, PictureInfo& info) {
  PictureInfo found;
  found.container = place.container;
  Outcome outcome;
  switch (place.kind) {
    case PictureKind::Ioca:
      outcome = DescribeImage(file, place, found);
      break;
    case PictureKind::Im1:
      outcome = DescribeIm(file, place, found);
      break;
    case PictureKind::Jpeg:
    case PictureKind::Tiff:
      outcome = DescribeContainedFile(file, place, found);
      break;
  }
  if (!outcome.Ok()) return outcome;
  found.bytes = UncompressedBytes(found.width, found.height, found.bitsPerPixel);
  info = found;
  return outcome;
}

Outcome LoadAnyPicture(FileWindow& file, const PicturePlace& place, const LoadOptions& options,
                       DecodedImage& image, PictureInfo& info, bool& damaged,
                       const ProfileFinder& ownProfile) {
  image = {};
  damaged = false;
  PictureInfo found;
  found.container = place.container;
  Outcome outcome;
  switch (place.kind) {
    case PictureKind::Ioca:
      outcome = LoadImage(file, place, options, ownProfile, image, found, damaged);
      break;
    case PictureKind::Im1:
      outcome = DescribeIm(file, place, found);
      if (outcome.Ok()) outcome = LoadImImage(file, place, options, image, damaged);
      break;
    case PictureKind::Jpeg:
    case PictureKind::Tiff:
      outcome =
          LoadContainedFile(file, place, WithProfile(options, ownProfile), image, found, damaged);
      break;
  }
  found.bytes = UncompressedBytes(found.width, found.height, found.bitsPerPixel);
  info = found;
  if (!outcome.Ok()) return outcome;
  TakeSize(image, info);
  info.bytes = UncompressedBytes(info.width, info.height, info.bitsPerPixel);
  return outcome;
}

Outcome ReadAnyData(FileWindow& file, const PicturePlace& place, std::vector<unsigned char>& data) {
  switch (place.kind) {
    case PictureKind::Jpeg:
    case PictureKind::Tiff:
      return ReadContainedFile(file, place, data);
    case PictureKind::Im1:
      return Failure(K_ERROR_INVALID_FORMAT,
                     "the data of an IM image can't be taken out by themselves");
    case PictureKind::Ioca:
      break;
  }
  ImageContent content;
  Outcome outcome = ReadImageContent(file, place, content);
  if (!outcome.Ok()) return outcome;
  if (content.tiled || content.image.bands.size() != 1) {
    return Failure(
        K_ERROR_INVALID_FORMAT,
        "its data are in several pieces, tiles or bands, and can't be taken out by themselves");
  }
  if (content.fault != K_SUCCESS) return Failure(content.fault, content.warnings.back());
  data = std::move(content.image.bands[0]);
  return outcome;
}

bool ReadAnyStored(FileWindow& file, const PicturePlace& place, StoredData& stored,
                   std::vector<std::string>& warnings) {
  if (place.kind == PictureKind::Jpeg) return ReadContainedFile(file, place, stored.bytes).Ok();
  ImageContent content;
  if (place.kind != PictureKind::Ioca || !ReadImageParameters(file, place, content).Ok() ||
      !ContentMayPass(content)) {
    return false;
  }
  // The same again: what stands past the data counts too.
  if (!ReadImageContent(file, place, content).Ok() || !ContentMayPass(content) ||
      content.fault != K_SUCCESS || content.image.bands.size() != 1) {
    return false;
  }
  const ImageParameters& parameters = content.image.parameters;
  const ImageShape shape = ShapeOf(content, ReadImageDescriptor(file, place));
  stored.fax = FaxCodeOf(parameters.compression);
  stored.width = parameters.width;
  stored.height = parameters.height;
  stored.xResolution = shape.xResolution;
  stored.yResolution = shape.yResolution;
  stored.bottomUp = parameters.recording == kRecordingBottomToTop;
  stored.reversedBits = parameters.lowestBitFirst;
  stored.bytes = std::move(content.image.bands[0]);
  warnings = std::move(content.warnings);
  return true;
}

}  // namespace kz
