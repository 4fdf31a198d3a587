// What a font of a document looks like, as far as its name and size tell.
#pragma once

#include "Toolkit/Fields/MappedFonts.h"
#include "Toolkit/View/Layout/TextRuns.h"

namespace kz {

// What takes the place of a font that is mapped; null for the default font. Its face is that
// which its name, or that of its coded font, stands for; its size what is said of it, else
// the one in a name like C0H200B0, else 10 points.
RunFont RunFontOf(const MappedFont* font);

}  // namespace kz
