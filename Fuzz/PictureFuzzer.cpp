// The readers of picture files: png, tif, pnm and jpg, by their first bytes.
#include <algorithm>
#include <string>

#include "Fuzz/MemoryDisk.h"
#include "Fuzz/MemoryPath.h"
#include "Host/Fax/Fax.h"
#include "Host/Kernel/KernelTesting.h"
#include "Toolkit/Imaging/FaxData.h"
#include "Toolkit/Imaging/JpegCodec.h"
#include "Toolkit/Pictures/PictureFile.h"

namespace {

constexpr int64_t kMaxPixels = 1 << 18;

// Data that pass the check show what the page does.
void ReadData(kz::PictureReader& reader, int page, const kz::Bitmap& bitmap) {
  kz::PictureData data;
  if (!reader.ReadData(page, true, data)) {
    if (reader.ReadData(page, false, data)) Require(!data.data.empty(), "there are data");
    return;
  }
  Require(int64_t{data.width} * data.height <= kMaxPixels, "the limit holds");
  // Group 3 is libtiff's to read as a picture.
  if (data.coding != kz::PictureCoding::kGroup4 || bitmap.Empty()) return;
  _LOADINFO info{};
  info.nFormat = K_FAX_G4;
  info.nWidth = static_cast<uint32_t>(data.width);
  info.nHeight = static_cast<uint32_t>(data.height);
  info.nBitsPerPixel = 1;
  kz::Bitmap decoded;
  if (decoded.Create(data.width, data.height, 1) != K_SUCCESS) return;
  bool damaged = false;
  const int status = kz::DecodeFax(data.data.data(), data.data.size(), info, 0, decoded, &damaged);
  Require(status == K_SUCCESS, "what is whole is decoded");
  const unsigned char flip = data.whiteIsOne ? 0xFF : 0;
  for (int y = 0; y < data.height && data.width >= 8; ++y) {
    const int row = data.bottomUp ? data.height - 1 - y : y;
    const bool same = std::equal(
        decoded.TopDownRow(y), decoded.TopDownRow(y) + data.width / 8, bitmap.TopDownRow(row),
        [flip](unsigned char a, unsigned char b) { return (a ^ flip) == b; });
    Require(same, "the data show the page");
  }
}

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
    ReadData(reader, page, bitmap);
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
