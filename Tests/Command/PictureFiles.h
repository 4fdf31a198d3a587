// Compares picture files as Leptonica reads them.
#pragma once

#include <allheaders.h>

#include <memory>
#include <stdexcept>
#include <string>

struct PixDelete {
  void operator()(Pix* pix) const { pixDestroy(&pix); }
};
using PixPointer = std::unique_ptr<Pix, PixDelete>;

inline PixPointer ReadPix(const std::string& path) {
  PixPointer pix(pixRead(path.c_str()));
  if (!pix) throw std::runtime_error(path + " can't be read");
  return pix;
}

// A page of a multi-page tif, counted from 1.
inline PixPointer ReadTiffPage(const std::string& path, int page) {
  PixPointer pix(pixReadTiff(path.c_str(), page - 1));
  if (!pix) throw std::runtime_error(path + " has no such page");
  return pix;
}

// Same size, same colours at every place, whatever the depth and the palette.
inline bool SamePicture(const Pix* left, const Pix* right) {
  l_int32 same = 0;
  auto* a = const_cast<Pix*>(left);
  auto* b = const_cast<Pix*>(right);
  if (pixGetWidth(a) != pixGetWidth(b) || pixGetHeight(a) != pixGetHeight(b)) return false;
  if (pixGetDepth(a) == pixGetDepth(b)) return pixEqual(a, b, &same) == 0 && same == 1;
  const PixPointer wideA(pixConvertTo32(a));
  const PixPointer wideB(pixConvertTo32(b));
  return pixEqual(wideA.get(), wideB.get(), &same) == 0 && same == 1;
}
