// Files of what is drawn on surfaces of Cairo's.
#pragma once

#include <string>

#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/Files/AtomicFile.h"
#include "Toolkit/Files/SpoolFile.h"
#include "Toolkit/View/Drawing/CairoHandles.h"

namespace kz {

// The longest side of a picture that Cairo draws on: pixels.
constexpr int kMostSurfaceSide = 32767;

// A file that Cairo writes, put into place when it is complete; or, by the name "-", standard
// output, which gets it then.
class RenderedFile {
 public:
  // Fails as AtomicFile::Open and SpoolFile::Open do.
  Outcome Open(const std::string& out, FileBatch* batch);
  // What a surface writes through, with the file as its closure.
  static cairo_status_t Take(void* self, const unsigned char* data, unsigned length);
  // Finishes the surface and completes the file, unless drawing has failed. -5 when it can't
  // be written.
  Outcome Finish(cairo_surface_t* surface);

 private:
  bool m_standard = false;
  AtomicFile m_file;
  SpoolFile m_spool;
  int m_error = 0;
};

// What is drawn on a picture of 32 bits a pixel, as a bitmap of 24. -1 for no memory.
Outcome BitmapOf(cairo_surface_t* surface, Bitmap& bitmap);

}  // namespace kz
