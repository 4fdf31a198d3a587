// The readers of picture files: png, tif, pnm and jpg, by their first bytes.
#include <string>

#include "Fuzz/MemoryDisk.h"
#include "Fuzz/MemoryPath.h"
#include "Host/Kernel/KernelTesting.h"
#include "Toolkit/Imaging/JpegCodec.h"
#include "Toolkit/Pictures/PictureFile.h"

namespace {

constexpr int64_t kMaxPixels = 1 << 18;

void ReadPages(const std::string& path, size_t size) {
  kz::PictureReader reader;
  const kz::Outcome opened = reader.Open(path, kMaxPixels);
  Require(opened.Ok() || !opened.what.empty(), "a refusal has words");
  Require(opened.Ok() == (reader.Pages() > 0), "a picture file has pages");
  Require(static_cast<size_t>(reader.Pages()) <= size, "a page takes bytes");
  for (int page = 1; page <= reader.Pages() && page <= 3; ++page) {
    kz::Bitmap bitmap;
    const kz::Outcome outcome = reader.Read(page, bitmap);
    Require(outcome.Ok() == !bitmap.Empty(), "a picture is there when it was read");
    Require(outcome.Ok() == outcome.what.empty(), "a refusal has words, a success none");
    Require(int64_t{bitmap.Width()} * bitmap.Height() <= kMaxPixels, "the limit holds");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const size_t blocks = K_LiveBlocks();
  const MemoryPath file(data, size);
  Require(file.Complete(), "a file is there");
  ReadPages(file.Path(), size);
  std::vector<unsigned char> jpeg(data, data + size);
  bool flipped = false;
  const kz::Outcome outcome = kz::FlipJpeg(jpeg, kMaxPixels, flipped);
  Require(flipped ? outcome.Ok() : jpeg.size() == size, "data that can't be turned stay");
  Require(K_LiveBlocks() == blocks, "no block is left");
  return 0;
}
