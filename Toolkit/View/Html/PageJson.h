// Layouts of pages as the script of the view reads them.
#pragma once

#include <functional>
#include <string>

#include "Toolkit/View/Layout/PageLayout.h"

namespace kz {

// The number by which the file knows a picture.
using NumberPicture = std::function<size_t(const ShownPicture& shown)>;

// A page as JSON, all lengths in points:
//   {"styles": [[face, marks, size, blank, adjustment, color]...],
//    "items": [item...], "warnings": [text...]}
// marks: 1 bold, 2 italic, 4 underlined. An item begins with what it is:
//   [0, x, y, rotation, width, style, text]
//   [1, x, y, width, height, color]                                             a rule
//   [2, picture, x, y, rotation, width, height, x, y, rotation, width, height, replicated]
//   [3, x, y, width, height, label]                                             a box
// Of a picture, first its area and then, in the area, all of the picture. Without
// `withText` there is none.
std::string PageJson(const PageLayout& layout, bool withText, const NumberPicture& number);

}  // namespace kz
