// Picture files that the command wrote, read by Leptonica.
#pragma once

#include <allheaders.h>

#include <memory>
#include <stdexcept>
#include <string>

struct PixDelete {
  void operator()(Pix* pix) const { pixDestroy(&pix); }
};
using PixPointer = std::unique_ptr<Pix, PixDelete>;

// A picture file, or a page of a tif, counted from 1.
inline PixPointer ReadPix(const std::string& path, int page = 0) {
  PixPointer pix(page == 0 ? pixRead(path.c_str()) : pixReadTiff(path.c_str(), page - 1));
  if (!pix) throw std::runtime_error(path + " can't be read");
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
