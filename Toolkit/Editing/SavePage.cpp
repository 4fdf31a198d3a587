#include "Toolkit/Editing/SavePage.h"

#include <algorithm>
#include <cerrno>

#include "API/Filters/Ica/Common/Ica.h"
#include "Format/PageFields.h"
#include "Format/SelfDefiningField.h"
#include "Toolkit/Documents/Document.h"
#include "Toolkit/Editing/CodedPage.h"
#include "Toolkit/Editing/ColorPage.h"
#include "Toolkit/Files/SpoolFile.h"
#include "Toolkit/Imaging/MemorySaver.h"
#include "Toolkit/Imaging/RowConversion.h"

namespace kz {

namespace {

constexpr int kMaxSide = static_cast<int>(kMaxImageSide);

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

Outcome CheckDepth(const CompressionRow& row, Depths depths, int bitsPerPixel) {
  if (HasDepth(depths, bitsPerPixel)) return {};
  return Failure(K_ERROR_BITS_PER_PIXEL, std::string(row.name) + " carries " + DepthWords(depths) +
                                             " per pixel, not " + std::to_string(bitsPerPixel));
}

Outcome CheckSize(const PageImage& image) {
  const auto [width, height, xResolution, yResolution, functionSet] = image;
  if (width < 1 || height < 1) {
    return Failure(K_ERROR_INVALID_FORMAT, "there is no picture to write");
  }
  if (width > kMaxSide || height > kMaxSide) {
    return Failure(K_ERROR_INVALID_FORMAT, "a page has at most 32767 x 32767 pixels, not " +
                                               std::to_string(width) + " x " +
                                               std::to_string(height));
  }
  const auto outside = [](int dpi) { return dpi < 0 || dpi > kMaxPageResolution; };
  if (outside(xResolution) || outside(yResolution)) {
    return Failure(K_ERROR_INVALID_FORMAT, "a page has at most 3276 dots per inch, not " +
                                               std::to_string(xResolution) + " x " +
                                               std::to_string(yResolution));
  }
  return {};
}

// The page of a picture, which may be empty, or of data.
PageImage PageOf(const Bitmap& bitmap) {
  if (bitmap.Empty()) return {};
  return {bitmap.Width(), bitmap.Height(), bitmap.XResolution(), bitmap.YResolution()};
}
PageImage PageOf(const PictureData& data) {
  return {data.width, data.height, data.xResolution, data.yResolution};
}

// How a picture will be written.
struct Format {
  Coding coding = Coding::Fax;
  uint32_t code = 0;
  int bitsPerPixel = 0;
  bool functionSet11 = false;
};

// What the filter's layout leaves open others lay out in another way.
bool NeedsFunctionSet11(Coding coding, int bitsPerPixel) {
  return coding == Coding::Jpeg || (coding == Coding::Uncompressed && bitsPerPixel > 1);
}

Outcome FindFormat(const SaveRequest& request, int bitsPerPixel, const PageImage& image,
                   Format& format) {
  const CompressionRow& row = RowOf(request.compression);
  format.coding = row.coding;
  format.code = FormatCodeIn(row, request.container);
  format.bitsPerPixel = bitsPerPixel;
  format.functionSet11 = request.functionSet == 0
                             ? NeedsFunctionSet11(row.coding, format.bitsPerPixel)
                             : request.functionSet == kFunctionSet11;
  const Depths depths =
      format.functionSet11 ? FunctionSet11Depths(request.compression) : row.written & row.read;
  if (format.functionSet11 && depths == 0) {
    return Failure(K_ERROR_SAVE_FORMAT,
                   std::string(row.name) + " is no compression of function set 11");
  }
  if (!format.functionSet11 && (format.code == 0 || depths == 0)) {
    return Failure(K_ERROR_SAVE_FORMAT, std::string(row.name) + " can't be written into " +
                                            ContainerName(request.container) + " files");
  }
  const Outcome outcome = CheckDepth(row, depths, format.bitsPerPixel);
  return outcome.Ok() ? CheckSize(image) : outcome;
}

Outcome FindFormat(const Bitmap& bitmap, const SaveRequest& request, Format& format) {
  return FindFormat(request, DepthOf(request, bitmap), PageOf(bitmap), format);
}

// That of coded data as they are.
Outcome FindFormat(const PictureData& data, const SaveRequest& request, Format& format) {
  if (data.coding == PictureCoding::kJpeg || data.data.empty() || data.bottomUp ||
      data.whiteIsOne || request.compression != DefaultCompression(data)) {
    return Failure(K_ERROR_SAVE_FORMAT, "these data can't be a page as they are");
  }
  const int bitsPerPixel = request.bitsPerPixel != 0 ? request.bitsPerPixel : 1;
  return FindFormat(request, bitsPerPixel, PageOf(data), format);
}

// The filter's own words don't say which of the refusals of a valid request it was.
Outcome ExplainFailure(int status, SaveMode mode, int errorNumber) {
  if (status == K_ERROR_INVALID_FORMAT && mode == SaveMode::Append) {
    return Failure(status, "the document doesn't end with End Document");
  }
  const bool system = status == K_ERROR_OPEN_WRITE || status == K_ERROR_WRITE;
  return system && errorNumber != 0 ? SystemFailure(status, errorNumber) : Failure(status);
}

Outcome SaveRows(const std::string& file, Bitmap& bitmap, const SaveRequest& request,
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

// The codec of ABIC data gets the bitmap's own rows.
Outcome SaveThroughFilter(const std::string& file, Bitmap& bitmap, const SaveRequest& request,
                          const Format& format) {
  if (format.coding != Coding::Abic || bitmap.BitsPerPixel() == format.bitsPerPixel) {
    return SaveRows(file, bitmap, request, format);
  }
  Bitmap converted;
  Outcome outcome = ConvertBitmap(bitmap, format.bitsPerPixel, request.dither, converted);
  if (!outcome.Ok()) return outcome;
  return SaveRows(file, converted, request, format);
}

// The filter codes the data, into a bare file.
Outcome SaveCodedByFilter(const std::string& file, Bitmap& bitmap, const SaveRequest& request,
                          const Format& format) {
  SpoolFile bare;
  Outcome outcome = bare.Open();
  if (!outcome.Ok()) return outcome;
  SaveRequest coding = request;
  coding.mode = SaveMode::NewFile;
  Format bareFormat = format;
  bareFormat.code = FormatCodeIn(RowOf(request.compression), Container::Ioca);
  outcome = SaveThroughFilter(bare.Path(), bitmap, coding, bareFormat);
  if (!outcome.Ok()) return outcome;
  return WriteBarePage(file, bare.Path(), bitmap, request, format.bitsPerPixel);
}

}  // namespace

Compression DefaultCompression(const Bitmap& bitmap) {
  return bitmap.BitsPerPixel() == 1 ? Compression::Group4 : Compression::Jpeg;
}

Compression DefaultCompression(const PictureData& data) {
  switch (data.coding) {
    case PictureCoding::kGroup4:
      return Compression::Group4;
    case PictureCoding::kGroup3OneD:
      return Compression::Group3;
    case PictureCoding::kGroup3TwoD:
      return Compression::Group3TwoDimensional;
    case PictureCoding::kJpeg:
      return Compression::Jpeg;
  }
  return Compression::Group4;
}

int DepthOf(const SaveRequest& request, const Bitmap& bitmap) {
  if (request.bitsPerPixel != 0) return request.bitsPerPixel;
  const Coding coding = RowOf(request.compression).coding;
  const bool shades = coding == Coding::Uncompressed && bitmap.BitsPerPixel() > 1 &&
                      request.functionSet != kFunctionSet10 && !request.dither;
  return DefaultDepth(shades ? Coding::Jpeg : coding, bitmap.BitsPerPixel(), bitmap.IsGray());
}

bool StoresJpeg(const SaveRequest& request, const Bitmap& bitmap) {
  return request.compression == Compression::Jpeg && request.functionSet != kFunctionSet10 &&
         DepthOf(request, bitmap) == bitmap.BitsPerPixel();
}

Outcome CheckPicture(const Bitmap& bitmap, const SaveRequest& request) {
  Format format;
  return FindFormat(bitmap, request, format);
}

Outcome SavePage(const std::string& file, Bitmap& bitmap, const SaveRequest& request) {
  Format format;
  Outcome outcome = FindFormat(bitmap, request, format);
  if (!outcome.Ok()) return outcome;
  if (!format.functionSet11) return SaveThroughFilter(file, bitmap, request, format);
  if (format.coding != Coding::Uncompressed && format.coding != Coding::Jpeg) {
    return SaveCodedByFilter(file, bitmap, request, format);
  }
  SaveRequest stored = request;
  if (!StoresJpeg(request, bitmap)) stored.jpeg = nullptr;
  return WriteColorPage(file, bitmap, stored, format.bitsPerPixel);
}

bool StoresData(const PictureData& data, const SaveRequest& request) {
  Format format;
  return FindFormat(data, request, format).Ok();
}

Outcome SaveData(const std::string& file, const PictureData& data, const SaveRequest& request) {
  Format format;
  Outcome outcome = FindFormat(data, request, format);
  if (!outcome.Ok()) return outcome;
  PageImage page = PageOf(data);
  if (format.functionSet11) page.functionSet = kFunctionSet11;
  // The filter sets no resolution in a bare file.
  if (format.functionSet11 || request.container != Container::Ioca) {
    if (page.xResolution == 0) page.xResolution = kDefaultPageResolution;
    if (page.yResolution == 0) page.yResolution = kDefaultPageResolution;
  }
  CodedPageWriter writer;
  outcome = writer.Open(file, request.mode, request.container);
  if (!outcome.Ok()) return outcome;
  writer.Begin({page, RowOf(request.compression).id, format.bitsPerPixel});
  outcome = writer.Put(data.data);
  return outcome.Ok() ? writer.Finish() : outcome;
}

}  // namespace kz
