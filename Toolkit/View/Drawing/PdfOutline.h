// The title and outline of pdf files: groups and tags of the document.
#pragma once

#include <string>
#include <vector>

#include "Toolkit/Documents/PageIndex.h"
#include "Toolkit/View/Drawing/CairoHandles.h"

namespace kz {

// Adds them to a pdf surface that will have these pages, in this order. The title is the name
// of the only group that is in no other, else the one given, which may be empty. Entries lead
// to the first of the pages that is theirs, and there are none without.
void AddOutline(cairo_surface_t* pdf, const PageIndex& index, const std::vector<int>& pages,
                const std::string& title);

}  // namespace kz
