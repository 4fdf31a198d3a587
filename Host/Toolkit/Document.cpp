#include "Host/Toolkit/Document.h"

#include "Host/Toolkit/PageReader.h"

namespace kz {

namespace {

uint64_t UncompressedBytes(int64_t width, int64_t height, int bitsPerPixel) {
  return static_cast<uint64_t>(height * ((width * bitsPerPixel + 7) / 8));
}

}  // namespace

const char* ContainerName(Container container) {
  switch (container) {
    case Container::Ioca:
      return "IOCA";
    case Container::Modca:
      return "MO:DCA";
    case Container::ModcaCarriageControl:
      return "MO:DCA with carriage control";
  }
  return "";
}

Outcome DescribePage(const std::string& file, int page, bool countPages, PageInfo& info) {
  PageReader reader;
  Outcome outcome = reader.Open(file);
  if (!outcome.Ok()) return outcome;
  PageInfo found;
  outcome = reader.DescribePage(page, countPages, found);
  if (!outcome.Ok()) return outcome;
  if (found.coding == Coding::Jpeg && found.bitsPerPixel == 1) {
    // Without an IDE Size field the description falls back to 1.
    JpegFrame frame;
    if (reader.ReadJpegFrame(frame).Ok()) {
      found.bitsPerPixel = frame.components == 1 ? 8 : 24;
      found.bytes = UncompressedBytes(found.width, found.height, found.bitsPerPixel);
    }
  }
  info = found;
  return {};
}

Outcome ReadImageData(const std::string& file, int page, std::vector<unsigned char>& data,
                      PageInfo* info) {
  data.clear();
  PageReader reader;
  PageInfo found;
  Outcome outcome = reader.Open(file);
  if (outcome.Ok()) outcome = reader.DescribePage(page, false, found);
  if (outcome.Ok()) outcome = reader.ReadImageData(data);
  if (!outcome.Ok()) {
    data.clear();
    return outcome;
  }
  if (info != nullptr) *info = found;
  return {};
}

}  // namespace kz
