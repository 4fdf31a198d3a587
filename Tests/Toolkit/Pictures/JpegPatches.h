// JPEG data of every kind of colours that a page can hold as they are.
#pragma once

#include <cstdio>
#include <cstdlib>

#include <jpeglib.h>

#include "Tests/Support/TestPictures.h"

namespace kz::test {

enum class JpegKind { Gray, YCbCr, PlainRgb, Inks, AdobeInks, AdobeYcck };

// White, red, black and yellow, from left to right and top to bottom; or their luma.
inline Color PatchColor(int patch, bool gray) {
  constexpr int colors[4][4] = {
      {255, 255, 255, 255}, {255, 0, 0, 76}, {0, 0, 0, 0}, {255, 255, 0, 226}};
  const int* color = colors[patch];
  return gray ? Color{color[3], color[3], color[3]} : Color{color[0], color[1], color[2]};
}

// A square picture of the four patches.
inline Bytes EncodePatches(JpegKind kind, int size) {
  constexpr unsigned char inks[4][4] = {
      {0, 0, 0, 0}, {0, 255, 255, 0}, {0, 0, 0, 255}, {0, 0, 255, 0}};
  const int samples = kind == JpegKind::Gray ? 1 : kind <= JpegKind::PlainRgb ? 3 : 4;
  jpeg_compress_struct jpeg;
  jpeg_error_mgr errors;
  jpeg.err = jpeg_std_error(&errors);
  jpeg_create_compress(&jpeg);
  unsigned char* out = nullptr;
  unsigned long bytes = 0;
  jpeg_mem_dest(&jpeg, &out, &bytes);
  jpeg.image_width = jpeg.image_height = static_cast<JDIMENSION>(size);
  jpeg.input_components = samples;
  jpeg.in_color_space = samples == 1 ? JCS_GRAYSCALE : samples == 3 ? JCS_RGB : JCS_CMYK;
  jpeg_set_defaults(&jpeg);
  if (kind == JpegKind::PlainRgb) jpeg_set_colorspace(&jpeg, JCS_RGB);
  if (kind == JpegKind::AdobeYcck) jpeg_set_colorspace(&jpeg, JCS_YCCK);
  // Without it the names of the components tell, or nothing does.
  if (kind == JpegKind::PlainRgb || kind == JpegKind::Inks) jpeg.write_Adobe_marker = FALSE;
  jpeg_set_quality(&jpeg, 95, TRUE);
  jpeg_start_compress(&jpeg, TRUE);
  for (int y = 0; y < size; ++y) {
    Bytes row;
    for (int x = 0; x < size; ++x) {
      const int patch = (x >= size / 2 ? 1 : 0) + (y >= size / 2 ? 2 : 0);
      for (size_t c = 0; c < static_cast<size_t>(samples); ++c) {
        const unsigned char ink = inks[patch][c];
        const int value = samples < 4              ? PatchColor(patch, samples == 1)[c]
                          : kind == JpegKind::Inks ? ink
                                                   : 255 - ink;
        row.push_back(static_cast<unsigned char>(value));
      }
    }
    unsigned char* rows = row.data();
    jpeg_write_scanlines(&jpeg, &rows, 1);
  }
  jpeg_finish_compress(&jpeg);
  jpeg_destroy_compress(&jpeg);
  Bytes data(out, out + bytes);
  std::free(out);
  return data;
}

}  // namespace kz::test
