#include "Toolkit/View/Drawing/SurfaceFile.h"

#include <cstring>

namespace kz {

cairo_status_t WriteSurface(void* file, const unsigned char* data, unsigned length) {
  return static_cast<RenderedFile*>(file)->Write(data, length) ? CAIRO_STATUS_SUCCESS
                                                               : CAIRO_STATUS_WRITE_ERROR;
}

Outcome FinishSurface(cairo_surface_t* surface, RenderedFile& file) {
  cairo_surface_finish(surface);
  Outcome outcome = file.Written();
  if (outcome.Ok()) outcome = CairoOutcome(cairo_surface_status(surface));
  return outcome.Ok() ? file.Commit() : outcome;
}

Outcome BitmapOf(cairo_surface_t* surface, Bitmap& bitmap) {
  const int width = cairo_image_surface_get_width(surface);
  const int height = cairo_image_surface_get_height(surface);
  const int status = bitmap.Create(width, height, 24, K_ORDER_RGB);
  if (status != K_SUCCESS) return Failure(status);
  cairo_surface_flush(surface);
  const unsigned char* from = cairo_image_surface_get_data(surface);
  for (int y = 0; y < height; ++y, from += cairo_image_surface_get_stride(surface)) {
    unsigned char* to = bitmap.TopDownRow(y);
    for (int x = 0; x < width; ++x, to += 3) {
      uint32_t pixel = 0;
      std::memcpy(&pixel, from + size_t{4} * static_cast<size_t>(x), sizeof(pixel));
      to[0] = static_cast<unsigned char>(pixel >> 16);
      to[1] = static_cast<unsigned char>(pixel >> 8);
      to[2] = static_cast<unsigned char>(pixel);
    }
  }
  return {};
}

}  // namespace kz
