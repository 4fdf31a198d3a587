// Pictures as browsers show them.
#pragma once

#include <vector>

#include "Toolkit/Documents/Document.h"
#include "Toolkit/View/Html/Sha256.h"

namespace kz {

struct HtmlPicture {
  const char* type = "image/png";   // of the data
  std::vector<unsigned char> data;  // of a file
  Sha256Digest digest = {};         // of the data
  Outcome outcome;                  // how it was loaded; `data` is empty unless that went well
};

// Makes a picture file: its JPEG data as they are where these show all of it, else a png, on
// which the white of bilevel pictures is clear. Fails as LoadPicture does.
HtmlPicture MakeHtmlPicture(const ShownPicture& shown, const LoadOptions& options);

}  // namespace kz
