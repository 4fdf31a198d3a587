#include "Toolkit/View/Layout/PicturePlacement.h"

#include <algorithm>
#include <utility>

namespace kz {

namespace {

constexpr double kVisible = 0.01;  // points

}  // namespace

bool PlaceContent(const PictureSpace& space, const ObjectArea& said, const UnitSize& units,
                  PlacedPicture& picture) {
  const int turned = said.contentRotation.value_or(0);
  const bool onItsSide = turned % 180 != 0;
  // Of the presentation space, as it stands in the area.
  double width = onItsSide ? space.height : space.width;
  double height = onItsSide ? space.width : space.height;
  if (width <= 0 || height <= 0) return false;
  if (picture.width <= 0) picture.width = width;
  if (picture.height <= 0) picture.height = height;

  double xScale = 1, yScale = 1;
  double x = 0, y = 0;
  bool centred = true, turnsInPlace = false;
  switch (said.mapping.value_or(Mapping::ScaleToFit)) {
    case Mapping::CenterAndTrim:
      break;
    case Mapping::ScaleToFill:
      xScale = picture.width / width;
      yScale = picture.height / height;
      break;
    case Mapping::DoublePointToPel:
      xScale = yScale = 2;
      centred = false;
      break;
    case Mapping::PointToPel:
      centred = false;
      break;
    case Mapping::Replicate:
      picture.replicated = true;
      centred = false;
      break;
    case Mapping::Position:
    case Mapping::PositionAndTrim:
      x = static_cast<double>(said.contentX.value_or(0)) * units.x;
      y = static_cast<double>(said.contentY.value_or(0)) * units.y;
      centred = false;
      turnsInPlace = true;
      break;
    default:
      xScale = yScale = std::min(picture.width / width, picture.height / height);
      break;
  }
  width *= xScale;
  height *= yScale;
  if (centred) {
    x = (picture.width - width) / 2;
    y = (picture.height - height) / 2;
  }
  // The corner of the space that is the origin of the content: what has a place of its own
  // turns about that, other content within the rectangle that it fills.
  if (!turnsInPlace && (turned == 90 || turned == 180)) x += width;
  if (!turnsInPlace && (turned == 180 || turned == 270)) y += height;
  if (onItsSide) std::swap(xScale, yScale);
  picture.content = {x, y, turned};
  picture.contentWidth = space.pixelsWidth * xScale;
  picture.contentHeight = space.pixelsHeight * yScale;
  return std::min({picture.width, picture.height, picture.contentWidth, picture.contentHeight}) >=
         kVisible;
}

}  // namespace kz
