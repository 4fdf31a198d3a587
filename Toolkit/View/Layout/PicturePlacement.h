// How the content of an object fills its area.
#pragma once

#include "Format/ObjectArea.h"
#include "Toolkit/View/Layout/LayoutSource.h"
#include "Toolkit/View/Layout/PageLayout.h"

namespace kz {

// Puts a picture into an area whose placement, width and height are set; an area without a
// width or height is as large as the picture. `said` is what the object says of its content, where
// `units` are those of its origin. False when nothing of it can be seen.
bool PlaceContent(const PictureSpace& space, const ObjectArea& said, const UnitSize& units,
                  PlacedPicture& picture);

}  // namespace kz
