#include "Toolkit/Editing/ColorPage.h"

#include <cerrno>
#include <vector>

#include "Format/SelfDefiningField.h"
#include "Host/Kernel/Kernel.h"
#include "Toolkit/Editing/CodedPage.h"
#include "Toolkit/Files/FileWindow.h"
#include "Toolkit/Imaging/MemorySaver.h"
#include "Toolkit/Imaging/RowConversion.h"

namespace kz {

namespace {

SegmentImage SegmentOf(const Bitmap& bitmap, Compression compression, int bitsPerPixel) {
  const auto known = [](int dpi) { return dpi != 0 ? dpi : kDefaultPageResolution; };
  const unsigned id = CompressionIdAt(RowOf(compression), bitsPerPixel);
  return {{bitmap.Width(), bitmap.Height(), known(bitmap.XResolution()),
           known(bitmap.YResolution()), kFunctionSet11},
          static_cast<uint8_t>(id),
          bitsPerPixel};
}

Outcome PutRows(CodedPageWriter& writer, const Bitmap& bitmap, int bitsPerPixel, bool dither) {
  PictureRows rows;
  const int status = rows.Begin(bitmap, bitsPerPixel, K_ORDER_RGB, dither);
  if (status != K_SUCCESS) return Failure(status);
  const size_t bytes =
      (static_cast<size_t>(bitmap.Width()) * static_cast<size_t>(bitsPerPixel) + 7) / 8;
  Outcome outcome;
  for (int row = 0; row < bitmap.Height() && outcome.Ok(); ++row) {
    outcome = writer.Put({rows.Row(row), bytes});
  }
  return outcome;
}

Outcome PutJpeg(CodedPageWriter& writer, const Bitmap& bitmap, const SaveRequest& request,
                int bitsPerPixel) {
  _BITMAPHANDLE record = *bitmap.Handle();  // the saver only reads
  HGLOBAL block = nullptr;
  uint64_t size = 0;
  const int format = RowOf(request.compression).raw;
  const int status = SaveToMemory(&block, &record, format, bitsPerPixel,
                                  QualityFactor(request.quality), &size, nullptr);
  if (status != K_SUCCESS) return Failure(status);
  const auto* data = static_cast<const unsigned char*>(WinGlobalLock(block));
  Outcome outcome = writer.Put({data, static_cast<size_t>(size)});
  WinGlobalUnlock(block);
  WinGlobalFree(block);
  return outcome;
}

// Copies the image data of a bare segment.
Outcome PutImageData(CodedPageWriter& writer, FileWindow& bare) {
  for (int64_t at = 0;;) {
    const unsigned char* first = bare.At(at, 1);
    const unsigned needed = first != nullptr ? HeaderLengthFrom(*first) : 1;
    const unsigned char* bytes = bare.At(at, needed);
    if (bytes == nullptr) return Failure(K_ERROR_READ);
    const auto header = ParseSelfDefiningHeader({bytes, needed});
    if (!header) return Failure(K_ERROR_READ);
    if (header->id == sdf::kEndImageContent) return {};
    at += header->HeaderLength();
    if (header->id == sdf::kImageData) {
      const unsigned char* data = bare.At(at, header->length);
      if (data == nullptr) return Failure(K_ERROR_READ);
      Outcome outcome = writer.Put({data, header->length});
      if (!outcome.Ok()) return outcome;
    }
    at += header->length;
  }
}

}  // namespace

Depths FunctionSet11Depths(Compression compression) {
  switch (compression) {
    case Compression::Group4:
    case Compression::IbmMmr:
      return DepthsOf(1);
    case Compression::Abic:
      return DepthsOf(1, 4);
    case Compression::None:
      return DepthsOf(1, 4, 8, 24);
    case Compression::Jpeg:
    case Compression::Jpeg420:
    case Compression::Jpeg422:
      return DepthsOf(8, 24);
    default:
      return 0;
  }
}

Outcome WriteColorPage(const std::string& file, const Bitmap& bitmap, const SaveRequest& request,
                       int bitsPerPixel) {
  CodedPageWriter writer;
  Outcome outcome = writer.Open(file, request.mode, request.container);
  if (!outcome.Ok()) return outcome;
  writer.Begin(SegmentOf(bitmap, request.compression, bitsPerPixel));
  if (request.compression == Compression::None) {
    outcome = PutRows(writer, bitmap, bitsPerPixel, request.dither);
  } else if (request.jpeg != nullptr) {
    outcome = writer.Put({request.jpeg->data(), request.jpeg->size()});
  } else {
    outcome = PutJpeg(writer, bitmap, request, bitsPerPixel);
  }
  return outcome.Ok() ? writer.Finish() : outcome;
}

Outcome WriteBarePage(const std::string& file, const std::string& bare, const Bitmap& bitmap,
                      const SaveRequest& request, int bitsPerPixel) {
  FileWindow window;
  Outcome outcome = window.Open(bare);
  CodedPageWriter writer;
  if (outcome.Ok()) outcome = writer.Open(file, request.mode, request.container);
  if (!outcome.Ok()) return outcome;
  writer.Begin(SegmentOf(bitmap, request.compression, bitsPerPixel));
  outcome = PutImageData(writer, window);
  return outcome.Ok() ? writer.Finish() : outcome;
}

}  // namespace kz
