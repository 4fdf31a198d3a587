#include "Toolkit/View/Drawing/SurfaceFile.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "Toolkit/Files/FileDescriptor.h"

namespace kz {

Outcome RenderedFile::Open(const std::string& out, FileBatch* batch) {
  m_standard = out == "-";
  return m_standard ? m_spool.Open() : m_file.Open(out, batch);
}

cairo_status_t RenderedFile::Take(void* self, const unsigned char* data, unsigned length) {
  auto* file = static_cast<RenderedFile*>(self);
  const int descriptor = file->m_standard ? file->m_spool.Descriptor() : file->m_file.Descriptor();
  if (WriteFully(descriptor, data, length)) return CAIRO_STATUS_SUCCESS;
  file->m_error = errno;
  return CAIRO_STATUS_WRITE_ERROR;
}

Outcome RenderedFile::Finish(cairo_surface_t* surface) {
  cairo_surface_finish(surface);
  if (m_error != 0) return SystemFailure(K_ERROR_WRITE, m_error);
  Outcome outcome = CairoOutcome(cairo_surface_status(surface));
  if (!outcome.Ok()) return outcome;
  if (!m_standard) return m_file.Commit();
  if (::lseek(m_spool.Descriptor(), 0, SEEK_SET) != 0) {
    return SystemFailure(K_ERROR_WRITE, errno);
  }
  return CopyDescriptor(m_spool.Descriptor(), STDOUT_FILENO);
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
