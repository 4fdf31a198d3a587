// Image contents of any file: what is read of them comes from the file, their parameters
// are the same without the data, and what is decoded has the shape that was foretold.
#include <algorithm>

#include "Fuzz/FilterCalls.h"
#include "Fuzz/MemoryDisk.h"
#include "Fuzz/MemoryPath.h"
#include "Toolkit/Documents/PageIndex.h"
#include "Toolkit/Images/DecodeImage.h"
#include "Toolkit/Images/ImageContent.h"

namespace {

// More would only cost time.
constexpr int64_t kMaxPixels = int64_t{1} << 20;

size_t DataOf(const kz::CodedImage& image) {
  size_t bytes = 0;
  for (const auto& band : image.bands) bytes += band.size();
  return bytes;
}

void RequireParameters(const kz::CodedImage& image) {
  Require(image.parameters.width >= 0 && image.parameters.height >= 0, "sizes are sizes");
  Require(image.bands.empty() || image.bands.size() >= image.parameters.bandBits.size(),
          "there is room for each band");
}

void RequireContent(const kz::ImageContent& content, size_t size) {
  size_t bytes = DataOf(content.image);
  RequireParameters(content.image);
  for (const kz::ImageTile& tile : content.tiles) {
    RequireParameters(tile.image);
    Require(tile.image.parameters.width > 0 && tile.image.parameters.height > 0,
            "tiles have a size");
    Require(tile.scale == 1 || tile.scale == 2, "the scale can be");
    bytes += DataOf(tile.image);
  }
  if (content.mask) bytes += DataOf(*content.mask);
  Require(bytes <= size, "all data are the file's");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const MemoryPath file(data, size);
  kz::PageIndex index;
  kz::FileWindow window;
  if (!file.Complete() || !kz::IndexFile(file.Path(), index).Ok()) return 0;
  Require(window.Open(file.Path()).Ok(), "what was indexed can be opened");
  for (const kz::IndexedPicture& picture : index.pictures) {
    kz::ImageContent content, parameters;
    const kz::Outcome outcome = kz::ReadImageContent(window, picture, content);
    const kz::Outcome bare = kz::ReadImageParameters(window, picture, parameters);
    Require(outcome.status == bare.status && outcome.what == bare.what &&
                content.warnings == parameters.warnings &&
                content.tiles.size() == parameters.tiles.size(),
            "nothing hangs on the data");
    Require(content.warnings.size() <= 33, "there are only so many warnings");
    RequireContent(content, size);
    const kz::ImageDescriptor descriptor = kz::ReadImageDescriptor(window, picture);
    Require(!descriptor.color || !descriptor.namedColor, "one colour");
    if (!outcome.Ok()) continue;
    kz::LoadOptions options;
    options.maxPixels = kMaxPixels;
    options.keepInks = (size & 1) != 0;
    kz::DecodedImage decoded;
    bool damaged = false;
    if (!kz::DecodeImage(content, descriptor, options, decoded, damaged).Ok()) continue;
    const int width = std::max(decoded.bitmap.Width(), decoded.inks.width);
    const int height = std::max(decoded.bitmap.Height(), decoded.inks.height);
    Require(width > 0 && height > 0 && int64_t{width} * height <= kMaxPixels,
            "a picture is within the limit");
  }
  return 0;
}
