#include <csetjmp>
#include <cstdio>
#include <cstring>

#include <jpeglib.h>
// jpeglib.h first: it declares what jerror.h lists.
#include <jerror.h>

#include "Host/Kernel/Status.h"
#include "Host/Toolkit/JpegCodec.h"
#include "Host/Toolkit/RowConversion.h"

namespace kz {

namespace {

// One byte of Huffman-coded data holds at most four blocks of 64 pixels, subsampled
// chroma included: what declares much more can't have the data for it.
constexpr uint64_t kMaxPixelsPerByte = 4096;
// A scan of a few bytes makes the decoder walk through the whole picture.
constexpr int kMaxScans = 100;

struct Decoder {
  jpeg_decompress_struct jpeg;
  jpeg_error_mgr errors;
  jpeg_source_mgr source;
  jpeg_progress_mgr progress;
  std::jmp_buf escape;
  int status;
  bool ended;  // the decoder asked for more than there is
  bool damaged;
  char message[JMSG_LENGTH_MAX];
};

Decoder& DecoderOf(j_common_ptr jpeg) { return *static_cast<Decoder*>(jpeg->client_data); }

[[noreturn]] void Escape(Decoder& decoder, int status) {
  decoder.status = status;
  std::longjmp(decoder.escape, 1);
}

[[noreturn]] void OnError(j_common_ptr jpeg) {
  Decoder& decoder = DecoderOf(jpeg);
  jpeg->err->format_message(jpeg, decoder.message);
  if (jpeg->err->msg_code == JERR_OUT_OF_MEMORY) Escape(decoder, K_ERROR_NO_MEMORY);
  Escape(decoder, decoder.ended ? K_ERROR_READ : K_ERROR_INVALID_FORMAT);
}

void OnMessage(j_common_ptr jpeg, int level) {
  if (level >= 0) return;
  Decoder& decoder = DecoderOf(jpeg);
  decoder.damaged = true;
  // Without this the decoder would fill the rest of the picture with grey.
  if (decoder.ended && jpeg->err->msg_code == JWRN_HIT_MARKER) Escape(decoder, K_ERROR_READ);
}

void OnProgress(j_common_ptr jpeg) {
  Decoder& decoder = DecoderOf(jpeg);
  if (decoder.jpeg.input_scan_number <= kMaxScans) return;
  (void)std::snprintf(decoder.message, sizeof(decoder.message), "more than %d scans", kMaxScans);
  Escape(decoder, K_ERROR_INVALID_FORMAT);
}

boolean FillBuffer(j_decompress_ptr jpeg) {
  static const JOCTET kEndOfImage[] = {0xFF, JPEG_EOI};
  DecoderOf(reinterpret_cast<j_common_ptr>(jpeg)).ended = true;
  jpeg->src->next_input_byte = kEndOfImage;
  jpeg->src->bytes_in_buffer = sizeof(kEndOfImage);
  return TRUE;
}

void SkipBytes(j_decompress_ptr jpeg, long count) {
  if (count <= 0) return;
  if (static_cast<size_t>(count) > jpeg->src->bytes_in_buffer) {
    FillBuffer(jpeg);
    return;
  }
  jpeg->src->next_input_byte += count;
  jpeg->src->bytes_in_buffer -= static_cast<size_t>(count);
}

void SetUp(Decoder& decoder, const unsigned char* data, size_t size) {
  decoder.jpeg.err = jpeg_std_error(&decoder.errors);
  decoder.errors.error_exit = OnError;
  decoder.errors.emit_message = OnMessage;
  decoder.jpeg.client_data = &decoder;
  jpeg_create_decompress(&decoder.jpeg);
  decoder.progress.progress_monitor = OnProgress;
  decoder.jpeg.progress = &decoder.progress;
  decoder.source.init_source = [](j_decompress_ptr) {};
  decoder.source.term_source = [](j_decompress_ptr) {};
  decoder.source.fill_input_buffer = FillBuffer;
  decoder.source.skip_input_data = SkipBytes;
  decoder.source.resync_to_restart = jpeg_resync_to_restart;
  decoder.source.next_input_byte = data;
  decoder.source.bytes_in_buffer = size;
  decoder.jpeg.src = &decoder.source;
}

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
void DecodeRows(Decoder& decoder, int bitsPerPixel, int colorOrder, uint64_t maxPixels,
                Bitmap& bitmap) {
  jpeg_decompress_struct& jpeg = decoder.jpeg;
  jpeg_read_header(&jpeg, TRUE);
  const bool cmyk = jpeg.num_components == 4;
  if (jpeg.num_components != 1 && jpeg.num_components != 3 && !cmyk) {
    Escape(decoder, K_ERROR_INVALID_FORMAT);
  }
  if (uint64_t{jpeg.image_width} * jpeg.image_height > maxPixels) {
    (void)std::snprintf(decoder.message, sizeof(decoder.message),
                        "%u x %u pixels are too many for so few data", jpeg.image_width,
                        jpeg.image_height);
    Escape(decoder, K_ERROR_INVALID_FORMAT);
  }
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

void Decode(Decoder& decoder, const unsigned char* data, size_t size, int bitsPerPixel,
            int colorOrder, Bitmap& bitmap) {
  if (setjmp(decoder.escape) == 0) {
    SetUp(decoder, data, size);
    DecodeRows(decoder, bitsPerPixel, colorOrder, size * kMaxPixelsPerByte, bitmap);
  }
  jpeg_destroy_decompress(&decoder.jpeg);
}

}  // namespace

bool IsJpeg(const unsigned char* data, size_t size) {
  return size >= 3 && data[0] == 0xFF && data[1] == 0xD8 && data[2] == 0xFF;
}

JpegDecoding DecodeJpeg(const unsigned char* data, size_t size, int bitsPerPixel, int colorOrder,
                        Bitmap& bitmap) {
  bitmap.Reset();
  JpegDecoding result;
  result.status = K_ERROR_BITS_PER_PIXEL;
  if (bitsPerPixel != 0 && bitsPerPixel != 1 && bitsPerPixel != 4 && bitsPerPixel != 8 &&
      bitsPerPixel != 24) {
    return result;
  }
  Decoder decoder;
  // cppcheck-suppress memsetClass ; std::jmp_buf is a plain C array
  std::memset(&decoder, 0, sizeof(decoder));
  Decode(decoder, data, size, bitsPerPixel, colorOrder, bitmap);

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
