#include "Host/Kernel/Status.h"
#include "Toolkit/Imaging/JpegCodec.h"
#include "Toolkit/Imaging/JpegSource.h"
#include "Toolkit/Imaging/RowConversion.h"

namespace kz {

namespace {

// Depth to decode at: 8 when the decoder can make grey and no colour is wanted.
int DecodingDepth(const jpeg_decompress_struct& jpeg, int wanted) {
  if (jpeg.num_components == 4) return 24;
  if (wanted == 0) return jpeg.num_components == 1 ? 8 : 24;
  return wanted == 24 ? 24 : 8;
}

void SetResolution(const jpeg_decompress_struct& jpeg, Bitmap& bitmap) {
  if (!jpeg.saw_JFIF_marker) return;
  constexpr UINT8 kPerInch = 1;
  constexpr UINT8 kPerCentimetre = 2;
  const auto perInch = [&](int density) {
    return jpeg.density_unit == kPerCentimetre ? (density * 254 + 50) / 100 : density;
  };
  if (jpeg.density_unit != kPerInch && jpeg.density_unit != kPerCentimetre) return;
  bitmap.SetResolution(perInch(jpeg.X_density), perInch(jpeg.Y_density));
}

// One row of cyan, magenta, yellow and black to one of 24 bits. With an Adobe
// marker all four are stored inverted: 255 = no ink.
void CmykToColor(const unsigned char* from, int width, bool inverted, bool rgbOrder,
                 unsigned char* to) {
  const auto paper = [&](int ink) { return inverted ? ink : 255 - ink; };
  for (int x = 0; x < width; ++x, from += 4, to += 3) {
    for (int c = 0; c < 3; ++c) {
      to[rgbOrder ? c : 2 - c] =
          static_cast<unsigned char>((paper(from[c]) * paper(from[3]) + 127) / 255);
    }
  }
}

// What may escape. No object with a destructor lives in here.
void DecodeRows(JpegSource& decoder, int bitsPerPixel, int colorOrder, Bitmap& bitmap) {
  jpeg_decompress_struct& jpeg = decoder.jpeg;
  jpeg_read_header(&jpeg, TRUE);
  const bool cmyk = jpeg.num_components == 4;
  if (jpeg.num_components != 1 && jpeg.num_components != 3 && !cmyk) {
    Escape(decoder, K_ERROR_INVALID_FORMAT);
  }
  CheckSize(decoder);
  const bool rgbOrder = colorOrder == K_ORDER_RGB;
  const int depth = DecodingDepth(jpeg, bitsPerPixel);
  decoder.status = bitmap.Create(static_cast<int>(jpeg.image_width),
                                 static_cast<int>(jpeg.image_height), depth, colorOrder);
  if (decoder.status != K_SUCCESS) return;
  SetResolution(jpeg, bitmap);
  jpeg.out_color_space = cmyk         ? JCS_CMYK
                         : depth == 8 ? JCS_GRAYSCALE
                         : rgbOrder   ? JCS_EXT_RGB
                                      : JCS_EXT_BGR;
  jpeg_start_decompress(&jpeg);
  JSAMPARRAY inks = nullptr;
  if (cmyk) {
    inks = jpeg.mem->alloc_sarray(reinterpret_cast<j_common_ptr>(&jpeg), JPOOL_IMAGE,
                                  jpeg.output_width * 4, 1);
  }
  while (jpeg.output_scanline < jpeg.output_height) {
    unsigned char* row = bitmap.TopDownRow(static_cast<int>(jpeg.output_scanline));
    if (cmyk) {
      jpeg_read_scanlines(&jpeg, inks, 1);
      CmykToColor(inks[0], bitmap.Width(), jpeg.saw_Adobe_marker, rgbOrder, row);
    } else {
      jpeg_read_scanlines(&jpeg, &row, 1);
    }
  }
  // What follows the last row can't change the picture: nobody looks for its end.
}

void Decode(JpegSource& decoder, int bitsPerPixel, int colorOrder, Bitmap& bitmap) {
  if (setjmp(decoder.escape) == 0) {
    SetUp(decoder);
    DecodeRows(decoder, bitsPerPixel, colorOrder, bitmap);
  }
  jpeg_destroy_decompress(&decoder.jpeg);
}

// What may escape.
const char* FindObjection(JpegSource& source) {
  const jpeg_decompress_struct& jpeg = source.jpeg;
  jpeg_read_header(&source.jpeg, TRUE);
  if (jpeg.num_components == 4) return "they are of four inks";
  const bool known = jpeg.jpeg_color_space == JCS_GRAYSCALE || jpeg.jpeg_color_space == JCS_YCbCr;
  if (!known) return "their colours are no YCbCr";
  if (jpeg.arith_code != FALSE) return "they are in arithmetic codes";
  return nullptr;
}

}  // namespace

const char* ObjectionToCoding(const unsigned char* data, size_t size) {
  JpegSource source;
  Prepare(source, data, size, kDefaultMaxPixels);
  // Volatile, so that it has its last value after a jump.
  const char* volatile objection = "their header is damaged";
  if (setjmp(source.escape) == 0) {
    SetUp(source);
    objection = FindObjection(source);
  }
  jpeg_destroy_decompress(&source.jpeg);
  return objection;
}

bool HoldsPlainRgb(const unsigned char* data, size_t size) {
  JpegSource source;
  Prepare(source, data, size, kDefaultMaxPixels);
  // Volatile, so that it has its last value after a jump.
  volatile bool plain = false;
  if (setjmp(source.escape) == 0) {
    SetUp(source);
    jpeg_read_header(&source.jpeg, TRUE);
    plain = source.jpeg.jpeg_color_space == JCS_RGB;
  }
  jpeg_destroy_decompress(&source.jpeg);
  return plain;
}

bool IsJpeg(const unsigned char* data, size_t size) {
  return size >= 3 && data[0] == 0xFF && data[1] == 0xD8 && data[2] == 0xFF;
}

JpegDecoding DecodeJpeg(const unsigned char* data, size_t size, int bitsPerPixel, int colorOrder,
                        Bitmap& bitmap, int64_t maxPixels) {
  bitmap.Reset();
  JpegDecoding result;
  result.status = K_ERROR_BITS_PER_PIXEL;
  if (bitsPerPixel != 0 && bitsPerPixel != 1 && bitsPerPixel != 4 && bitsPerPixel != 8 &&
      bitsPerPixel != 24) {
    return result;
  }
  JpegSource decoder;
  Prepare(decoder, data, size, maxPixels);
  Decode(decoder, bitsPerPixel, colorOrder, bitmap);

  if (decoder.status == K_SUCCESS && bitsPerPixel != 0 && bitsPerPixel != bitmap.BitsPerPixel()) {
    Bitmap converted;
    decoder.status = ConvertBitmap(bitmap, bitsPerPixel, false, converted).status;
    bitmap = std::move(converted);
  }
  if (decoder.status != K_SUCCESS) {
    bitmap.Reset();
    result.what = decoder.message;
  }
  result.status = decoder.status;
  result.damaged = decoder.damaged;
  return result;
}

}  // namespace kz
