// What is seen of a page, as it is compared.
#pragma once

#include <string>
#include <vector>

#include "Toolkit/View/Layout/PageLayout.h"

namespace kz {

// What stands on one baseline.
struct SeenLine {
  std::string text;
  double x = 0;
  double y = 0;
  std::string style;  // of its first run, in words
};

struct SeenPage {
  double width = 0;
  double height = 0;
  std::vector<SeenLine> lines;  // from the top
  std::vector<PlacedPicture> pictures;
  std::vector<std::string> marks;  // rules and boxes, in words, sorted
};

// What a layout shows. Pieces on a baseline that stand apart have a blank between them.
SeenPage Seen(const PageLayout& layout);

// Points with at most one digit after the point: "10,20.5".
std::string PlaceWords(double x, double y);
// "595.3 x 842".
std::string SizeWords(double width, double height);
// Whether two lengths are as good as the same: a twentieth of a point.
bool SameLength(double a, double b);

}  // namespace kz
