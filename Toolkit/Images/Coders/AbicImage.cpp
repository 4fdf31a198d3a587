#include "Toolkit/Images/Coders/AbicImage.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <memory>

#include "Host/Kernel/Kernel.h"
#include "Toolkit/Images/Coders/AbicCodec.h"

namespace kz {

namespace {

// Alignment of the codec's rows, which is that of a bitmap's.
constexpr int kRowAlignment = 4;

struct Codec {
  K_DecodeAbicRoutine decode = nullptr;
  K_DecodeLikelyAbicRoutine decodeLikely = nullptr;  // only libraries of our own have it
};

const Codec& FindCodec() {
  static const Codec codec = {FindAbicRoutine<K_DecodeAbicRoutine>("K_DecodeABIC"),
                              FindAbicRoutine<K_DecodeLikelyAbicRoutine>("K_DecodeLikelyABIC")};
  return codec;
}

struct BlockFree {
  void operator()(unsigned char* block) const { WinGlobalFree(WinGlobalHandle(block)); }
};
using CodecRows = std::unique_ptr<unsigned char, BlockFree>;

std::string CountWords(int64_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

// In which way data don't fit, of a picture whose planes have so many rows.
std::string MisfitWords(const AbicFit& fit, const AbicRequest& request) {
  std::string words;
  if (fit.bitsLeft < -kAbicMostMissingBits) {
    const int64_t plane = std::min<int64_t>(fit.rows / request.height, request.bits - 1);
    const int64_t missing = std::max<int64_t>((plane + 1) * request.height - fit.rows, 1);
    words = "the ABIC data end " + CountWords(missing, "row", "rows");
    words += request.bits == 1 ? " early"
                               : " before the end of bit plane " + std::to_string(plane + 1) +
                                     " of " + std::to_string(request.bits);
  } else if (fit.bitsLeft > kAbicMostBitsLeft) {
    const int64_t bytes = fit.bitsLeft / CHAR_BIT;
    words = CountWords(bytes, "byte", "bytes") + " of ABIC data are left over";
  } else {
    words = "the padding of the rows in the ABIC data isn't white, " +
            CountWords(fit.blackPadding, "pixel", "pixels") + " of it";
  }
  return words + ": they are damaged, or coded with parameters that aren't known (see kzica abic)";
}

size_t RowBytes(int width, int bits) {
  return (static_cast<size_t>(width) * static_cast<size_t>(bits) + 31) / 32 * 4;
}

// Decodes by a library that knows nothing but 1 and 4 bits, as pictures of as many.
int DecodePlainly(const Codec& codec, CodedBytes data, const AbicRequest& request, int height,
                  CodecRows& rows) {
  if (codec.decode == nullptr) return K_ERROR_NO_ABIC_DECODER;
  unsigned char* block = nullptr;
  const int status = codec.decode(data.data(), static_cast<unsigned>(data.size()), &block,
                                  kRowAlignment, request.width, height, request.bits == 4 ? 0 : 1);
  rows.reset(block);
  return status;
}

// Copies rows of the codec's, which lie as those of the bitmap do. Their padding may be
// anything.
void CopyRows(const unsigned char* rows, Bitmap& bitmap) {
  const auto stride = static_cast<size_t>(bitmap.BytesPerLine());
  const size_t bits =
      static_cast<size_t>(bitmap.Width()) * static_cast<size_t>(bitmap.BitsPerPixel());
  const size_t whole = bits / CHAR_BIT;
  const auto rest = static_cast<unsigned char>(0xFF00u >> bits % CHAR_BIT);
  unsigned char* to = bitmap.Handle()->pRows;
  for (int row = 0; row < bitmap.Height(); ++row, rows += stride, to += stride) {
    std::memcpy(to, rows, whole);
    if (rest != 0) to[whole] = rows[whole] & rest;
  }
}

// Gathers the bits of each pixel from the rows of 8 bilevel planes that follow each other.
void JoinPlanes(const unsigned char* planes, const AbicRequest& request, Bitmap& bitmap) {
  const size_t planeRow = RowBytes(request.width, 1);
  const auto height = static_cast<size_t>(request.height);
  const auto stride = static_cast<size_t>(bitmap.BytesPerLine());
  for (size_t row = 0; row < CHAR_BIT * height; ++row) {
    const unsigned char* from = planes + row * planeRow;
    unsigned char* to = bitmap.Handle()->pRows + row % height * stride;
    for (size_t x = 0; x < static_cast<size_t>(request.width); ++x) {
      const int bit = from[x / CHAR_BIT] >> (7 - x % CHAR_BIT) & 1;
      to[x] = static_cast<unsigned char>(to[x] << 1 | bit);
    }
  }
}

}  // namespace

CodedRows DecodeAbicImage(CodedBytes data, const AbicRequest& request, Bitmap& bitmap) {
  CodedRows result;
  result.status = K_ERROR_INVALID_FORMAT;
  if (data.size() > UINT_MAX || request.width < 1 || request.height < 1) return result;
  const Codec& codec = FindCodec();
  const bool told = codec.decodeLikely != nullptr;
  // Bits of a pixel in the codec's rows, and how many of these there are.
  const int codecBits = told || request.bits != CHAR_BIT ? request.bits : 1;
  const int64_t codecHeight = int64_t{request.height} * (request.bits / codecBits);
  if (codecHeight > INT_MAX) return result;

  CodecRows rows;
  AbicReading reading;
  if (told) {
    const AbicString string = {data.data(), data.size(), request.width, request.height,
                               request.bits};
    reading.parameters.exactWidth = request.exactWidth;
    unsigned char* block = nullptr;
    result.status = codec.decodeLikely(&string, &block, &reading);
    rows.reset(block);
  } else {
    result.status = DecodePlainly(codec, data, request, static_cast<int>(codecHeight), rows);
  }
  if (result.status != K_SUCCESS) return result;
  const size_t stride = RowBytes(request.width, codecBits);
  const size_t size = stride * static_cast<size_t>(codecHeight);
  // The library is one that anyone may replace.
  result.status = rows != nullptr && WinGlobalSize(WinGlobalHandle(rows.get())) >= size
                      ? bitmap.Create(request.width, request.height, request.bits, K_ORDER_BGR,
                                      request.viewPerspective)
                      : K_ERROR_INVALID_FORMAT;
  if (result.status != K_SUCCESS) return result;
  if (codecBits == request.bits) {
    CopyRows(rows.get(), bitmap);
  } else {
    JoinPlanes(rows.get(), request, bitmap);
  }
  result.rows = request.height;
  if (told && !reading.earlier && !AbicFits(reading.fit)) {
    result.damaged = true;
    result.what = MisfitWords(reading.fit, request);
    if (reading.fit.bitsLeft < -kAbicMostMissingBits) result.status = K_ERROR_READ;
  }
  return result;
}

}  // namespace kz
