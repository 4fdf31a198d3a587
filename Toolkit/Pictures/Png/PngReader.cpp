// PNG (ISO/IEC 15948) in. Straight through libpng: other paths print its messages on
// standard error and can't keep every depth.
#include <png.h>

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstring>

#include "Host/Kernel/Kernel.h"
#include "Toolkit/Imaging/RowConversion.h"
#include "Toolkit/Pictures/PictureFormats.h"

namespace kz {

namespace {

constexpr const char* kSource = "Toolkit/Pictures/PngPicture";
constexpr double kMetresPerInch = 0.0254;
constexpr unsigned char kWhiteBlack[2][4] = {{255, 255, 255, 0}, {0, 0, 0, 0}};
constexpr unsigned char kBlackWhite[2][4] = {{0, 0, 0, 0}, {255, 255, 255, 0}};

// State that outlives an escape from libpng.
struct Png {
  png_structp png;
  png_infop info;
  int status;
  char message[128];
  const unsigned char* data;
  size_t left;
  unsigned char* blended;  // rows with their alpha channel: all, or only one
};

[[noreturn]] void OnError(png_structp png, png_const_charp message) {
  Png& state = *static_cast<Png*>(png_get_error_ptr(png));
  if (state.status == K_SUCCESS) state.status = K_ERROR_INVALID_FORMAT;
  if (state.message[0] == '\0') std::strncpy(state.message, message, sizeof(state.message) - 1);
  png_longjmp(png, 1);
}

void OnWarning(png_structp, png_const_charp) {}

[[noreturn]] void Fail(Png& state, int status) {
  state.status = status;
  png_error(state.png, "");
}

Outcome Result(const Png& state) {
  return state.status == K_SUCCESS ? Outcome{} : Failure(state.status, state.message);
}

void ReadData(png_structp png, png_bytep to, size_t count) {
  Png& state = *static_cast<Png*>(png_get_io_ptr(png));
  if (count > state.left) {
    state.status = K_ERROR_READ;
    png_error(png, StatusText(K_ERROR_READ));
  }
  std::memcpy(to, state.data, count);
  state.data += count;
  state.left -= count;
}

// How the rows that libpng gives come into a bitmap.
struct Reading {
  int bitsPerPixel;
  bool alpha;   // rows have an alpha channel of 8 bits after grey or colour
  bool invert;  // 1 bit, 0 being black
};

// Asks libpng for rows that a bitmap can take and says what they are.
Reading Arrange(Png& state) {
  const png_structp png = state.png;
  const int color = png_get_color_type(png, state.info);
  const int depth = png_get_bit_depth(png, state.info);
  const bool transparent = png_get_valid(png, state.info, PNG_INFO_tRNS) != 0;
  const bool alpha = transparent || (color & PNG_COLOR_MASK_ALPHA) != 0;
  if (depth == 16) png_set_scale_16(png);
  if (alpha) png_set_expand(png);
  if (color == PNG_COLOR_TYPE_GRAY && depth == 2) png_set_expand_gray_1_2_4_to_8(png);
  if (color == PNG_COLOR_TYPE_PALETTE && depth == 2) png_set_packing(png);
  png_set_bgr(png);
  png_set_interlace_handling(png);
  png_read_update_info(png, state.info);

  const bool isColor = (color & PNG_COLOR_MASK_COLOR) != 0;
  if (alpha) return {isColor ? 24 : 8, true, false};
  if (color == PNG_COLOR_TYPE_RGB) return {24, false, false};
  const int bits = depth == 2 || depth == 16 ? 8 : depth;
  return {bits, false, bits == 1 && color == PNG_COLOR_TYPE_GRAY};
}

void SetPalette(Png& state, Bitmap& bitmap) {
  png_colorp colors = nullptr;
  int count = 0;
  if (png_get_PLTE(state.png, state.info, &colors, &count) == 0) return;
  unsigned char entries[256][4] = {};
  for (int i = 0; i < count; ++i) {
    entries[i][0] = colors[i].red;
    entries[i][1] = colors[i].green;
    entries[i][2] = colors[i].blue;
  }
  const int values = 1 << bitmap.BitsPerPixel();
  if (bitmap.SetPalette(entries[0], std::min(count, values)) != K_SUCCESS) {
    Fail(state, K_ERROR_NO_MEMORY);
  }
}

void SetResolution(const Png& state, Bitmap& bitmap) {
  const auto perInch = [](png_uint_32 perMetre) {
    return static_cast<int>(std::lround(perMetre * kMetresPerInch));
  };
  bitmap.SetResolution(perInch(png_get_x_pixels_per_meter(state.png, state.info)),
                       perInch(png_get_y_pixels_per_meter(state.png, state.info)));
}

// Lays a row with an alpha channel over white paper.
void BlendOverWhite(const unsigned char* from, int width, int channels, unsigned char* to) {
  for (int x = 0; x < width; ++x, from += channels + 1, to += channels) {
    const int alpha = from[channels];
    for (int c = 0; c < channels; ++c) {
      to[c] = static_cast<unsigned char>((from[c] * alpha + 255 * (255 - alpha) + 127) / 255);
    }
  }
}

// Has everything skipped but what makes the picture. Text and profiles are
// compressed, each to a thousandth of what it would take in memory.
void SkipOtherChunks(png_structp png) {
  png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
  const png_byte resolution[] = "pHYs";
  png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_AS_DEFAULT, resolution, 1);
}

// Reads up to the image data.
void ReadHeader(Png& state) {
  SkipOtherChunks(state.png);
  png_read_info(state.png, state.info);
}

Outcome CheckSize(const Png& state, int64_t maxPixels) {
  // Nothing is deflated to less than one byte in so many.
  constexpr uint64_t kMaxInflation = 1032;
  const png_uint_32 width = png_get_image_width(state.png, state.info);
  const png_uint_32 height = png_get_image_height(state.png, state.info);
  const int channels = png_get_channels(state.png, state.info);
  const uint64_t pixelBits =
      static_cast<uint64_t>(channels) * png_get_bit_depth(state.png, state.info);
  if ((width * pixelBits + 7) / 8 * height / kMaxInflation > state.left) {
    return Failure(K_ERROR_INVALID_FORMAT, "the picture of " + std::to_string(width) + " x " +
                                               std::to_string(height) +
                                               " pixels is too large for so few data");
  }
  return CheckPictureSize(width, height, channels > 2 ? 24 : 8, maxPixels);
}

// What may escape. No object with a destructor lives in here.
void ReadRows(Png& state, Bitmap& bitmap) {
  const auto width = static_cast<int>(png_get_image_width(state.png, state.info));
  const auto height = static_cast<int>(png_get_image_height(state.png, state.info));
  const bool interlaced = png_get_interlace_type(state.png, state.info) == PNG_INTERLACE_ADAM7;
  const Reading reading = Arrange(state);
  const int status = bitmap.Create(width, height, reading.bitsPerPixel);
  if (status != K_SUCCESS) Fail(state, status);
  SetResolution(state, bitmap);
  if (!reading.alpha && reading.bitsPerPixel <= 8) SetPalette(state, bitmap);

  const size_t rowBytes = png_get_rowbytes(state.png, state.info);
  if (reading.alpha) {
    state.blended = static_cast<unsigned char*>(
        K_LocalAlloc(rowBytes, static_cast<size_t>(interlaced ? height : 1), __LINE__, kSource));
    if (state.blended == nullptr) Fail(state, K_ERROR_NO_MEMORY);
  } else if (rowBytes > static_cast<size_t>(bitmap.BytesPerLine())) {
    Fail(state, K_ERROR_INVALID_FORMAT);
  }
  const auto rowOf = [&](int i) {
    if (!reading.alpha) return bitmap.TopDownRow(i);
    return state.blended + (interlaced ? static_cast<size_t>(i) * rowBytes : 0);
  };
  // Each pass of an interlaced picture fills pixels into the rows of the one before;
  // the last completes them.
  for (int pass = interlaced ? 7 : 1; pass > 0; --pass) {
    for (int i = 0; i < height; ++i) {
      png_read_row(state.png, rowOf(i), nullptr);
      if (pass > 1) continue;
      unsigned char* row = bitmap.TopDownRow(i);
      if (reading.alpha) BlendOverWhite(rowOf(i), width, reading.bitsPerPixel / 8, row);
      if (reading.invert) InvertBits(row, width);
    }
  }
}

// A palette of pure white and black is what a 1-bit bitmap has without one.
void DropPlainPalette(Bitmap& bitmap) {
  if (bitmap.BitsPerPixel() != 1 || bitmap.Colors() != 2) return;
  const bool blackFirst = std::memcmp(bitmap.Palette(), kBlackWhite, sizeof(kBlackWhite)) == 0;
  if (!blackFirst && std::memcmp(bitmap.Palette(), kWhiteBlack, sizeof(kWhiteBlack)) != 0) return;
  bitmap.DropPalette();
  if (!blackFirst) return;
  for (int i = 0; i < bitmap.Height(); ++i) InvertBits(bitmap.TopDownRow(i), bitmap.Width());
}

// Runs a step that may escape.
template <typename Step>
void Guard(Png& state, Step step) {
  if (setjmp(png_jmpbuf(state.png)) == 0) step();
}

Outcome ReadPicture(Png& state, int64_t maxPixels, Bitmap& bitmap) {
  state.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &state, OnError, OnWarning);
  if (state.png != nullptr) state.info = png_create_info_struct(state.png);
  if (state.info == nullptr) return Failure(K_ERROR_NO_MEMORY);
  png_set_read_fn(state.png, &state, ReadData);
  Guard(state, [&] { ReadHeader(state); });
  if (state.status != K_SUCCESS) return Result(state);
  Outcome outcome = CheckSize(state, maxPixels);
  if (!outcome.Ok()) return outcome;
  Guard(state, [&] { ReadRows(state, bitmap); });
  return Result(state);
}

}  // namespace

Outcome ReadPng(const std::vector<unsigned char>& data, int64_t maxPixels, Bitmap& bitmap) {
  Png state{};
  state.status = K_SUCCESS;
  state.data = data.data();
  state.left = data.size();
  Outcome outcome = ReadPicture(state, maxPixels, bitmap);
  png_destroy_read_struct(&state.png, &state.info, nullptr);
  K_LocalFree(state.blended, __LINE__, kSource);
  if (outcome.Ok()) DropPlainPalette(bitmap);
  return outcome;
}

}  // namespace kz
