#include "Tests/Host/Fax/Pictures.h"

#include <leptonica/allheaders.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <string>

namespace {

void Fill(Picture& picture, int nX, int nY, int nWidth, int nHeight) {
  for (int y = std::max(nY, 0); y < std::min(nY + nHeight, picture.nHeight); ++y)
    for (int x = std::max(nX, 0); x < std::min(nX + nWidth, picture.nWidth); ++x)
      picture.Row(y)[x / 8] |= static_cast<unsigned char>(0x80 >> x % 8);
}

}  // namespace

Picture MakePicture(Kind kind, int nWidth, int nHeight, unsigned int nSeed) {
  Picture picture(nWidth, nHeight);
  std::mt19937 random(nSeed);
  const auto upTo = [&](int nLimit) {
    return static_cast<int>(random() % static_cast<unsigned int>(nLimit));
  };
  switch (kind) {
    case Kind::White:
      break;
    case Kind::Black:
      Fill(picture, 0, 0, nWidth, nHeight);
      break;
    case Kind::Text:  // slanted strokes of some pixels' thickness
      for (int n = nWidth * nHeight / 150 + 1; n > 0; --n) {
        const int nX = upTo(nWidth), nY = upTo(nHeight), nSlant = upTo(5) - 2,
                  nStroke = 1 + upTo(4);
        for (int y = 0; y < 4 + upTo(12); ++y)
          Fill(picture, nX + y * nSlant / 2, nY + y, nStroke, 1);
      }
      break;
    case Kind::Noise:
      for (int n = nWidth * nHeight / 3; n > 0; --n)
        Fill(picture, upTo(nWidth), upTo(nHeight), 1, 1);
      break;
    case Kind::Halftone:  // a grid of dots that grow to the right
      for (int y = 0; y < nHeight; y += 6)
        for (int x = 0; x < nWidth; x += 6) {
          const int nSize = 1 + x * 5 / nWidth + upTo(2);
          Fill(picture, x, y, nSize, nSize);
        }
      break;
    case Kind::Stripes:  // runs of all lengths, shifted from line to line
      for (int y = 0; y < nHeight; ++y)
        for (int x = upTo(9), nRun = 1 + upTo(5); x < nWidth; x += 2 * nRun, nRun += upTo(90))
          Fill(picture, x, y, nRun, 1);
      break;
  }
  return picture;
}

std::vector<Picture> TestPictures() {
  std::vector<Picture> pictures;
  unsigned int nSeed = 1;
  for (const Kind kind :
       {Kind::White, Kind::Black, Kind::Text, Kind::Noise, Kind::Halftone, Kind::Stripes}) {
    for (int nWidth = 1; nWidth <= 70; ++nWidth)
      pictures.push_back(MakePicture(kind, nWidth, 1 + nWidth % 23, ++nSeed));
    for (const int nWidth : {1727, 1728, 2550, 5000})
      pictures.push_back(MakePicture(kind, nWidth, 40, ++nSeed));
  }
  return pictures;
}

Picture ReadSample(const char* pszName) {
  PIX* pPix = pixRead((std::string(KZ_SAMPLES "/") + pszName).c_str());
  if (pPix == nullptr || pixGetDepth(pPix) != 1) std::abort();
  Picture picture(pixGetWidth(pPix), pixGetHeight(pPix));
  for (int y = 0; y < picture.nHeight; ++y)
    for (int x = 0; x < picture.nWidth; ++x) {
      l_uint32 nValue = 0;
      pixGetPixel(pPix, x, y, &nValue);
      if (nValue != 0) Fill(picture, x, y, 1, 1);
    }
  pixDestroy(&pPix);
  return picture;
}
