// Pictures that look like what people scan, and some that nobody would.
#pragma once

#include <vector>

#include "Tests/Host/Fax/TiffCodec.h"

enum class Kind { White, Black, Text, Noise, Halftone, Stripes };

// The same picture for the same arguments.
Picture MakePicture(Kind kind, int nWidth, int nHeight, unsigned int nSeed);

// Some hundreds: every kind, widths 1 to 70, 1727, 1728, 2550 and 5000.
std::vector<Picture> TestPictures();

// A sample picture (a 1-bit PNG). Aborts when there is none.
Picture ReadSample(const char* pszName);
