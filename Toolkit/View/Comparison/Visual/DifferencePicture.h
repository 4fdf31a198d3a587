// The difference between two pictures as a picture.
#pragma once

#include <string>

#include "Toolkit/View/Drawing/CairoHandles.h"

namespace kz {

// Both on one picture that has room for either, their top left corners together: what both
// have in grey, what only the first has in orange, what only the second has in blue, with a
// light stain around any difference, so that the smallest is seen. They are pictures of 32 bits a
// pixel. A failed surface for no memory.
CairoSurface DifferencePicture(cairo_surface_t* a, cairo_surface_t* b);

// A picture as a png file, grey if it is; empty for no memory.
std::string PngOf(cairo_surface_t* picture);

}  // namespace kz
