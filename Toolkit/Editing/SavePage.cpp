#include "Toolkit/Editing/SavePage.h"

#include <algorithm>
#include <cerrno>

#include "API/Filters/Ica/Common/Ica.h"
#include "Format/SelfDefiningField.h"
#include "Toolkit/Documents/Document.h"
#include "Toolkit/Imaging/MemorySaver.h"
#include "Toolkit/Imaging/RowConversion.h"

namespace kz {

namespace {

constexpr int kMaxSide = static_cast<int>(kMaxImageSide);
// Tenths of dots per inch from 0x8000 on are read as "none".
constexpr int kMaxResolution = 0x7FFF / 10;

// The quality factor that JpegQuality turns into this quality.
int QualityFactor(int quality) { return 2 + ((100 - std::clamp(quality, 1, 100)) * 253 + 49) / 99; }

// "1 or 4 bits", of a set that isn't empty.
std::string DepthWords(Depths depths) {
  std::string words;
  for (int depth = 1; depth < 32; ++depth) {
    if (!HasDepth(depths, depth)) continue;
    if (!words.empty()) words += " or ";
    words += std::to_string(depth);
  }
  return words + (words == "1" ? " bit" : " bits");
}

Outcome CheckDepth(const CompressionRow& row, int bitsPerPixel) {
  const Depths depths = row.written & row.read;
  if (HasDepth(depths, bitsPerPixel)) return {};
  if (row.coding == Coding::Uncompressed) {
    return Failure(K_ERROR_BITS_PER_PIXEL,
                   "uncompressed pages of more than 1 bit per pixel can't be read back");
  }
  return Failure(K_ERROR_BITS_PER_PIXEL, std::string(row.name) + " carries " + DepthWords(depths) +
                                             " per pixel, not " + std::to_string(bitsPerPixel));
}

Outcome CheckSize(const Bitmap& bitmap) {
  if (bitmap.Empty()) return Failure(K_ERROR_INVALID_FORMAT, "there is no picture to write");
  if (bitmap.Width() > kMaxSide || bitmap.Height() > kMaxSide) {
    return Failure(K_ERROR_INVALID_FORMAT, "a page has at most 32767 x 32767 pixels, not " +
                                               std::to_string(bitmap.Width()) + " x " +
                                               std::to_string(bitmap.Height()));
  }
  const auto outside = [](int resolution) { return resolution < 0 || resolution > kMaxResolution; };
  if (outside(bitmap.XResolution()) || outside(bitmap.YResolution())) {
    return Failure(K_ERROR_INVALID_FORMAT, "a page has at most 3276 dots per inch, not " +
                                               std::to_string(bitmap.XResolution()) + " x " +
                                               std::to_string(bitmap.YResolution()));
  }
  return {};
}

// How a picture will be written.
struct Format {
  Coding coding = Coding::Fax;
  uint32_t code = 0;
  int bitsPerPixel = 0;
};

Outcome FindFormat(const Bitmap& bitmap, const SaveRequest& request, Format& format) {
  const CompressionRow& row = RowOf(request.compression);
  format.coding = row.coding;
  format.code = FormatCodeIn(row, request.container);
  format.bitsPerPixel =
      request.bitsPerPixel != 0 ? request.bitsPerPixel : DefaultDepth(request.compression, bitmap);
  if (format.code == 0 || (row.written & row.read) == 0) {
    return Failure(K_ERROR_SAVE_FORMAT, std::string(row.name) + " can't be written into " +
                                            ContainerName(request.container) + " files");
  }
  const Outcome outcome = CheckDepth(row, format.bitsPerPixel);
  return outcome.Ok() ? CheckSize(bitmap) : outcome;
}

// The filter's own words don't say which of the refusals of a valid request it was.
Outcome ExplainFailure(int status, SaveMode mode, int errorNumber) {
  if (status == K_ERROR_INVALID_FORMAT && mode == SaveMode::Append) {
    return Failure(status, "the document doesn't end with End Document");
  }
  const bool system = status == K_ERROR_OPEN_WRITE || status == K_ERROR_WRITE;
  return system && errorNumber != 0 ? SystemFailure(status, errorNumber) : Failure(status);
}

Outcome Save(const std::string& file, Bitmap& bitmap, const SaveRequest& request,
             const Format& format) {
  _SAVEOPTIONS options = {0, request.mode == SaveMode::NewFile ? 1 : 2};
  _SAVEDISPATCH dispatch = {};
  dispatch.pszFileName = file.c_str();
  dispatch.pBitmap = bitmap.Handle();
  dispatch.nBitsPerPixel = format.bitsPerPixel;
  dispatch.nFormat = static_cast<int32_t>(format.code);
  dispatch.uHostFlags = request.dither ? K_HOST_DITHER : 0;
  dispatch.nQFactor = QualityFactor(request.quality);
  dispatch.pSaveOptions = &options;
  dispatch.pfnBeginRows = BeginRows;
  dispatch.pfnEndRows = EndRows;
  dispatch.pfnGetRow = GetRow;
  dispatch.pfnSaveToMemory = SaveToMemory;
  errno = 0;
  const int status = fltSave(&dispatch);
  return status == K_SUCCESS ? Outcome{} : ExplainFailure(status, request.mode, errno);
}

}  // namespace

Compression DefaultCompression(const Bitmap& bitmap) {
  return bitmap.BitsPerPixel() == 1 ? Compression::Group4 : Compression::Jpeg;
}

int DefaultDepth(Compression compression, const Bitmap& bitmap) {
  return DefaultDepth(RowOf(compression).coding, bitmap.BitsPerPixel(), bitmap.IsGray());
}

Outcome CheckPicture(const Bitmap& bitmap, const SaveRequest& request) {
  Format format;
  return FindFormat(bitmap, request, format);
}

Outcome SavePage(const std::string& file, Bitmap& bitmap, const SaveRequest& request) {
  Format format;
  Outcome outcome = FindFormat(bitmap, request, format);
  if (!outcome.Ok()) return outcome;
  if (format.coding != Coding::Abic || bitmap.BitsPerPixel() == format.bitsPerPixel) {
    return Save(file, bitmap, request, format);
  }
  // The codec gets the bitmap's own rows.
  Bitmap converted;
  outcome = ConvertBitmap(bitmap, format.bitsPerPixel, request.dither, converted);
  return outcome.Ok() ? Save(file, converted, request, format) : outcome;
}

}  // namespace kz
