// What a file says of one of its pictures.
#pragma once

#include <cstdint>
#include <string>

#include "Format/Compression.h"
#include "Toolkit/Pictures/PictureFile.h"

namespace kz {

struct PictureInfo {
  uint32_t format = 0;  // the filter's code for compression and container; 0: it takes no such
  Coding coding = Coding::Unknown;
  Container container = Container::Ioca;
  std::string compression;
  std::string layout;  // "3 tiles", "4 bands"; empty: one piece
  int width = 0;       // pixels
  int height = 0;
  int bitsPerPixel = 0;
  int xResolution = 0;  // dots per inch; 0 = not known
  int yResolution = 0;
  uint64_t bytes = 0;  // of the uncompressed picture, rows padded to whole bytes
  bool topDown = true;
  bool reversedBits = false;  // in each byte of the image data
  bool unpaddedRows = false;  // uncompressed rows begin within bytes
  // What is wrong with its kind, so that no such picture can be loaded; empty: nothing.
  std::string unsupported;
  // The image data are a whole file of this format, and its picture is this one.
  PictureFormat storedAs = PictureFormat::kNone;
};

// What `bytes` is for the size and depth of a picture.
constexpr uint64_t UncompressedBytes(int width, int height, int bitsPerPixel) {
  const uint64_t rowBits = static_cast<uint64_t>(width) * static_cast<uint64_t>(bitsPerPixel);
  return static_cast<uint64_t>(height) * ((rowBits + 7) / 8);
}

}  // namespace kz
