#include "Toolkit/Images/Decoding/CodedPlane.h"

#include <algorithm>
#include <array>
#include <string>

#include "Toolkit/Images/Coders/AbicImage.h"
#include "Toolkit/Images/Coders/ByteCoders.h"
#include "Toolkit/Images/Coders/Jbig2Image.h"
#include "Toolkit/Images/Coders/JpegImage.h"
#include "Toolkit/Images/Decoding/ImageCoding.h"

namespace kz {

namespace {

std::string Place(const PlaneRequest& request) { return " at byte " + std::to_string(request.at); }

Outcome Unsupported(const PlaneRequest& request) {
  return Failure(K_ERROR_INVALID_FORMAT, CodingName(request.parameters->compression) +
                                             Place(request) + " is not supported");
}

Outcome UnsupportedBits(const PlaneRequest& request) {
  return Failure(K_ERROR_INVALID_FORMAT, CodingName(request.parameters->compression) + " of " +
                                             std::to_string(request.pixelBits) + " bits per pixel" +
                                             Place(request) + " is not supported");
}

// Rows as they lie in the plane's data.
void UseRows(const PlaneRequest& request, SamplePlane& plane) {
  const ImageParameters& parameters = *request.parameters;
  const RowLayout layout = FindRowLayout(plane.data.size(), parameters.width, parameters.height,
                                         request.pixelBits, parameters.recording);
  plane.rowBits = layout.rowBits;
  plane.width = parameters.width;
  plane.decoded.rows = layout.rows;
  plane.height = parameters.height > 0 ? parameters.height : layout.rows;
  if (layout.rows < plane.height) plane.decoded.status = K_ERROR_READ;
}

// Coded bytes of rows. They are as long as the rows, or end early.
Outcome DecodeBytes(CodedBytes data, const PlaneRequest& request, SamplePlane& plane) {
  const ImageParameters& parameters = *request.parameters;
  const int pixelBits = request.pixelBits;
  const bool predicted = parameters.compression == coding::kLzwPredictor;
  if (predicted && pixelBits != 8 * static_cast<int>(request.components)) {
    return UnsupportedBits(request);
  }
  const size_t bits = static_cast<size_t>(parameters.width) * static_cast<size_t>(pixelBits);
  const bool words = parameters.recording == kRecordingBottomToTop;
  const size_t rowBytes = words ? (bits + 31) / 32 * 4 : (bits + 7) / 8;
  const bool unpadded = parameters.recording == kRecordingUnpaddedRidic;
  const auto height = static_cast<size_t>(parameters.height);
  const auto most = static_cast<size_t>(kMaxPictureBytes);
  const size_t limit = height > 0 ? std::min(rowBytes * height, most) : most;
  bool valid = true;
  if (parameters.compression == coding::kPackBits) {
    DecodePackBits(data, limit, plane.bytes);
  } else {
    valid = DecodeLzw(data, limit, plane.bytes);
    const size_t whole = unpadded ? (bits * height + 7) / 8 : rowBytes * height;
    if (valid && !plane.bytes.empty() && plane.bytes.size() < whole) plane.bytes.resize(whole);
    if (predicted) UndoPredictor(plane.bytes, rowBytes, request.components);
  }
  plane.data = plane.bytes;
  UseRows(request, plane);
  if (!valid) plane.decoded.status = K_ERROR_INVALID_FORMAT;
  return {};
}

Outcome DecodeAbic(CodedBytes data, const PlaneRequest& request, SamplePlane& plane) {
  const ImageParameters& parameters = *request.parameters;
  const bool concatenated = parameters.compression == coding::kConcatenatedAbic;
  const int bits = request.pixelBits;
  if (bits != 1 && !(concatenated && (bits == 4 || bits == 8))) return UnsupportedBits(request);
  const bool exactWidth = parameters.recording == kRecordingUnpaddedRidic;
  plane.decoded =
      DecodeAbicImage(data, {parameters.width, parameters.height, bits, exactWidth}, plane.bitmap);
  return {};
}

Outcome DecodeToBitmap(CodedBytes data, const PlaneRequest& request, SamplePlane& plane) {
  const ImageParameters& parameters = *request.parameters;
  const uint8_t compression = parameters.compression;
  const uint32_t fax = FaxCodeOf(compression);
  Outcome outcome;
  if (compression == coding::kJpeg) {
    InkPicture none;
    plane.decoded = DecodeJpegImage(data, {request.maxPixels, true, false}, plane.bitmap, none);
  } else if (IsAbic(compression)) {
    outcome = DecodeAbic(data, request, plane);
  } else if (fax == 0 && compression != coding::kJbig2) {
    outcome = Unsupported(request);
  } else if (request.pixelBits != 1) {
    outcome = UnsupportedBits(request);
  } else if (fax != 0) {
    plane.decoded = DecodeFaxImage(data, fax, parameters.width, parameters.height,
                                   request.maxPixels, plane.bitmap);
  } else {
    plane.decoded = DecodeJbig2Image(data, request.maxPixels, plane.bitmap);
  }
  if (outcome.Ok() && !plane.bitmap.Empty()) plane.UseBitmap();
  return outcome;
}

}  // namespace

std::string CodingName(uint8_t compression) {
  struct Name {
    uint8_t compression;
    const char* name;
  };
  constexpr Name kNames[] = {
      {coding::kIbmMmr, "IBM MMR"},
      {coding::kNone, "no"},
      {coding::kRl4, "RL4"},
      {coding::kAbic, "ABIC"},
      {coding::kTiffAlgorithm2, "TIFF algorithm 2"},
      {coding::kConcatenatedAbic, "concatenated ABIC"},
      {coding::kOs2Image, "OS/2 Image Support"},
      {coding::kPackBits, "PackBits"},
      {coding::kLzw, "LZW"},
      {coding::kLzwPredictor, "LZW"},
      {coding::kSolidFill, "solid fill"},
      {coding::kGroup3, "Group 3"},
      {coding::kGroup3TwoDimensional, "Group 3"},
      {coding::kGroup4, "Group 4"},
      {coding::kJpeg, "JPEG"},
      {coding::kJbig2, "JBIG2"},
  };
  for (const Name& row : kNames) {
    if (row.compression == compression) return std::string(row.name) + " compression";
  }
  constexpr char kDigits[] = "0123456789ABCDEF";
  return std::string("compression X'") + kDigits[compression >> 4] + kDigits[compression & 15] +
         "'";
}

Outcome DecodePlane(CodedBytes data, const PlaneRequest& request, SamplePlane& plane) {
  Outcome outcome;
  switch (request.parameters->compression) {
    case coding::kNone:
      plane.data = data;
      UseRows(request, plane);
      break;
    case coding::kPackBits:
    case coding::kLzw:
    case coding::kLzwPredictor:
      outcome = DecodeBytes(data, request, plane);
      break;
    default:
      outcome = DecodeToBitmap(data, request, plane);
      break;
  }
  if (!outcome.Ok()) return outcome;
  if (plane.decoded.rows > 0) return {};
  const int status = plane.decoded.status;
  return Failure(status == K_SUCCESS ? K_ERROR_READ : status, plane.decoded.what);
}

}  // namespace kz
