// Pages of the kinds that people scan and print, made from the samples: the same
// ones on every machine.
#pragma once

#include <string>
#include <vector>

#include "Tests/Host/Fax/Pictures.h"

struct FaxPage {
  std::string name;
  Picture picture;
};

// 2550 x 3300 pixels but for the page of 600 dpi. `text` and `halftone` are samples side
// by side; text-300 and text-600 a letter at 300 and 600 dpi; scan is that letter on a
// scanner, skewed, blurred and with noise and specks; clustered, bayer and diffused are
// a photograph with a screen at 45 degrees, an 8 x 8 Bayer matrix and the error
// diffusion of Floyd and Steinberg.
std::vector<FaxPage> MakeFaxPages();
