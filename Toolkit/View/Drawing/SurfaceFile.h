// Files of what is drawn on surfaces of Cairo's.
#pragma once

#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/View/Drawing/CairoHandles.h"
#include "Toolkit/View/RenderedFile.h"

namespace kz {

// The longest side of a picture that Cairo draws on: pixels.
constexpr int kMostSurfaceSide = 32767;

// What a surface writes through, with its RenderedFile as the closure.
cairo_status_t WriteSurface(void* file, const unsigned char* data, unsigned length);
// Finishes a surface and completes its file, unless drawing has failed. -5 when it can't be
// written.
Outcome FinishSurface(cairo_surface_t* surface, RenderedFile& file);

// What is drawn on a picture of 32 bits a pixel, as a bitmap of 24. -1 for no memory.
Outcome BitmapOf(cairo_surface_t* surface, Bitmap& bitmap);

}  // namespace kz
