// Pictures made smaller before they are drawn: what is drawn often at a small scale costs
// little then, and each of its pixels counts.
#pragma once

#include "Toolkit/View/Drawing/PictureSurface.h"

namespace kz {

// The most pixels along a side that become one.
constexpr int kMostReduced = 32;

// A picture of which `x` by `y` pixels have become one, those of the last column and row maybe
// fewer: a mask with shades, or colours. The status of the surface says what failed.
CairoSurface ReduceSurface(const PictureSurface& picture, int x, int y);

// A picture with 32 bits a pixel that is there so many times in each direction.
PictureSurface RepeatSurface(cairo_surface_t* tile, int x, int y);

}  // namespace kz
