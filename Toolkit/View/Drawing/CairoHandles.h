// Owners of what Cairo and Pango count references of.
#pragma once

#include <cairo.h>
#include <pango/pangocairo.h>

#include <memory>

#include "Toolkit/Base/Outcome.h"

namespace kz {

struct CairoRelease {
  void operator()(cairo_t* cairo) const { cairo_destroy(cairo); }
  void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
  void operator()(cairo_pattern_t* pattern) const { cairo_pattern_destroy(pattern); }
  void operator()(PangoFontDescription* font) const { pango_font_description_free(font); }
};
struct ObjectRelease {
  void operator()(gpointer object) const { g_object_unref(object); }
};

using CairoContext = std::unique_ptr<cairo_t, CairoRelease>;
using CairoSurface = std::unique_ptr<cairo_surface_t, CairoRelease>;
using CairoPattern = std::unique_ptr<cairo_pattern_t, CairoRelease>;
using PangoFont = std::unique_ptr<PangoFontDescription, CairoRelease>;
template <typename Object>
using PangoObject = std::unique_ptr<Object, ObjectRelease>;

// What a status of Cairo's comes to.
inline Outcome CairoOutcome(cairo_status_t status) {
  if (status == CAIRO_STATUS_SUCCESS) return {};
  const int code = status == CAIRO_STATUS_NO_MEMORY     ? K_ERROR_NO_MEMORY
                   : status == CAIRO_STATUS_WRITE_ERROR ? K_ERROR_WRITE
                                                        : K_ERROR_INVALID_FORMAT;
  return Failure(code, cairo_status_to_string(status));
}

}  // namespace kz
