// File names with a place for the page number: scan-%d.png, scan-%03d.png.
#pragma once

#include <string>

#include "Host/Kernel/Export.h"

namespace kz {

// Whether the name has a %d, perhaps with a width and a leading zero. What a letter or
// digit follows is none, like that of 100%done.png, nor is that of %%d.
K_EXPORT bool IsNumbered(const std::string& name);
// The name with the page number in the place of the first %d, and % for every %%.
K_EXPORT std::string NumberedName(const std::string& name, int page);

}  // namespace kz
