// Pictures such as scanners and programs that print make, for tests of ABIC strings.
#pragma once

#include <string_view>

#include "Tests/Host/Abic/IndependentCoder.h"

namespace kz::test {

enum class PictureKind {
  Text,            // lines of letters with margins, a little skewed, with ragged edges
  OrderedDither,   // a gradient with shapes, by an 8 x 8 matrix of scattered dots
  ClusteredDots,   // the same by dots that grow, in a screen of 45 degrees
  ErrorDiffusion,  // the same by Floyd's and Steinberg's weights
  LineArt,         // frames, circles, diagonals
  Specks,          // a few dots on white
  Noise,           // every pixel by chance
  Gradient,        // the gradient with shapes, with the noise of a camera
  GrayCoded,       // the same, its samples Gray coded
};

struct NamedPicture {
  PictureKind kind;
  std::string_view name;
};

constexpr NamedPicture kAllPictures[] = {
    {PictureKind::Text, "text"},
    {PictureKind::OrderedDither, "ordered"},
    {PictureKind::ClusteredDots, "clustered"},
    {PictureKind::ErrorDiffusion, "diffusion"},
    {PictureKind::LineArt, "lines"},
    {PictureKind::Specks, "specks"},
    {PictureKind::Noise, "noise"},
    {PictureKind::Gradient, "gradient"},
    {PictureKind::GrayCoded, "gray-coded"},
};

// A picture, always the same for the same arguments. Depth 1: black is 1; a gradient is
// cut at half. Depth 4 and 8: white is 15 and 255, and what has two colours is scanned:
// blurred, with noise.
IndependentImage DrawPicture(PictureKind kind, int width, int height, int depth, unsigned seed);

}  // namespace kz::test
