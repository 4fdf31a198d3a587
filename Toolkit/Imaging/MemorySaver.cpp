#include "Toolkit/Imaging/MemorySaver.h"

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <cstring>

#include <jpeglib.h>

#include "Host/Kernel/Kernel.h"
#include "Toolkit/Imaging/JpegBuffer.h"
#include "Toolkit/Imaging/RowConversion.h"

namespace kz {

namespace {

constexpr const char* kSource = "Toolkit/Imaging/MemorySaver";

struct Encoder {
  jpeg_compress_struct jpeg;
  jpeg_error_mgr errors;
  std::jmp_buf escape;
  int status;
  JpegBuffer buffer;
};

// One row conversion, as the row routines hold it.
struct Rows {
  _BITMAPHANDLE* bitmap;
  void* context;
  unsigned char* row;
  unsigned char* colors;
  uint32_t flags;
};

Encoder& EncoderOf(j_common_ptr jpeg) { return *static_cast<Encoder*>(jpeg->client_data); }

[[noreturn]] void Escape(Encoder& encoder, int status) {
  encoder.status = status;
  std::longjmp(encoder.escape, 1);
}

[[noreturn]] void OnError(j_common_ptr jpeg) { Escape(EncoderOf(jpeg), K_ERROR_NO_MEMORY); }

void SetUp(Encoder& encoder) {
  encoder.jpeg.err = jpeg_std_error(&encoder.errors);
  encoder.errors.error_exit = OnError;
  encoder.errors.output_message = [](j_common_ptr) {};
  encoder.jpeg.client_data = &encoder;
  jpeg_create_compress(&encoder.jpeg);
  WriteToBuffer(encoder.jpeg, encoder.buffer);
}

void SetParameters(jpeg_compress_struct& jpeg, const _BITMAPHANDLE& bitmap, int format,
                   int bitsPerPixel, int quality) {
  jpeg.image_width = static_cast<JDIMENSION>(bitmap.nWidth);
  jpeg.image_height = static_cast<JDIMENSION>(bitmap.nHeight);
  jpeg.input_components = bitsPerPixel / 8;
  jpeg.in_color_space = bitsPerPixel == 8                   ? JCS_GRAYSCALE
                        : bitmap.nColorOrder == K_ORDER_RGB ? JCS_EXT_RGB
                                                            : JCS_EXT_BGR;
  jpeg_set_defaults(&jpeg);
  jpeg_set_quality(&jpeg, quality, TRUE);
  if (bitsPerPixel == 24) {
    jpeg.comp_info[0].h_samp_factor = format == kJpeg444 ? 1 : 2;
    jpeg.comp_info[0].v_samp_factor = format == kJpeg420 ? 2 : 1;
  }
  if (bitmap.nXResolution > 0 && bitmap.nYResolution > 0) {
    constexpr UINT8 kPerInch = 1;
    jpeg.density_unit = kPerInch;
    jpeg.X_density = static_cast<UINT16>(std::min(bitmap.nXResolution, 65535));
    jpeg.Y_density = static_cast<UINT16>(std::min(bitmap.nYResolution, 65535));
  }
}

// What may escape. No object with a destructor lives in here.
void EncodeRows(Encoder& encoder, Rows& rows, int format, int bitsPerPixel, int quality) {
  SetParameters(encoder.jpeg, *rows.bitmap, format, bitsPerPixel, quality);
  jpeg_start_compress(&encoder.jpeg, TRUE);
  for (int i = 0; i < rows.bitmap->nHeight; ++i) {
    const int status = GetRow(rows.bitmap, rows.context, rows.row, i, 1, rows.flags, nullptr,
                              nullptr, rows.colors);
    if (status <= 0) Escape(encoder, status);
    jpeg_write_scanlines(&encoder.jpeg, &rows.row, 1);
  }
  jpeg_finish_compress(&encoder.jpeg);
  encoder.status = K_SUCCESS;
}

void Encode(Encoder& encoder, Rows& rows, int format, int bitsPerPixel, int quality) {
  if (setjmp(encoder.escape) == 0) {
    SetUp(encoder);
    EncodeRows(encoder, rows, format, bitsPerPixel, quality);
  }
  jpeg_destroy_compress(&encoder.jpeg);
}

int CopyToBlock(const Encoder& encoder, HGLOBAL* block, uint64_t* size) {
  const size_t bytes = encoder.buffer.size;
  *block = WinGlobalAlloc(0, bytes);
  if (*block == nullptr) return K_ERROR_NO_MEMORY;
  std::memcpy(WinGlobalLock(*block), encoder.buffer.bytes, bytes);
  WinGlobalUnlock(*block);
  *size = bytes;
  return K_SUCCESS;
}

}  // namespace

int JpegQuality(int qFactor) {
  const int steps = std::clamp(qFactor, 2, 255) - 2;
  return 100 - (steps * 99 + 126) / 253;
}

int QualityFactor(int quality) { return 2 + ((100 - std::clamp(quality, 1, 100)) * 253 + 49) / 99; }

int SaveToMemory(HGLOBAL* phBlock, _BITMAPHANDLE* pBitmap, int nFormat, int nBitsPerPixel,
                 int nQFactor, uint64_t* pnSize, void*) {
  *phBlock = nullptr;
  *pnSize = 0;
  if (pBitmap == nullptr || pBitmap->pRows == nullptr) return K_ERROR_NO_MEMORY;
  if (nFormat != kJpeg444 && nFormat != kJpeg420 && nFormat != kJpeg422) return K_ERROR_SAVE_FORMAT;
  if (nBitsPerPixel == 0) nBitsPerPixel = IsGrayBitmap(*pBitmap) ? 8 : 24;
  if (nBitsPerPixel != 8 && nBitsPerPixel != 24) return K_ERROR_BITS_PER_PIXEL;
  if (pBitmap->nWidth <= 0 || pBitmap->nHeight <= 0 || pBitmap->nWidth > JPEG_MAX_DIMENSION ||
      pBitmap->nHeight > JPEG_MAX_DIMENSION) {
    return K_ERROR_INVALID_FORMAT;
  }
  Rows rows{pBitmap, nullptr, nullptr, nullptr, 0};
  int status = BeginRows(pBitmap, &rows.context, nBitsPerPixel, &rows.flags, &rows.row, 1, nullptr,
                         nullptr, &rows.colors);
  if (status <= 0) return status;

  Encoder encoder;
  // cppcheck-suppress memsetClass ; std::jmp_buf is a plain C array
  std::memset(&encoder, 0, sizeof(encoder));
  Encode(encoder, rows, nFormat, nBitsPerPixel, JpegQuality(nQFactor));
  status = encoder.status;
  if (status == K_SUCCESS) status = CopyToBlock(encoder, phBlock, pnSize);
  K_LocalFree(encoder.buffer.bytes, __LINE__, kSource);
  EndRows(pBitmap, &rows.context, &rows.flags, &rows.row, &rows.colors);
  return status;
}

}  // namespace kz
