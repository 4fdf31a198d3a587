#include "Toolkit/Editing/ImagePage.h"

#include <algorithm>

#include "Format/PageFields.h"
#include "Toolkit/Documents/Document.h"

namespace kz {

namespace {

int PageResolution(int resolution) {
  return resolution == 0 ? kDefaultPageResolution : std::min(resolution, kMaxPageResolution);
}

std::string BytesOf(const SmallField& field) { return {field.begin(), field.end()}; }

template <size_t Count>
std::string BytesOf(const std::array<SmallField, Count>& fields, bool prefixed) {
  std::string bytes;
  for (const SmallField& field : fields) {
    if (prefixed) bytes += static_cast<char>(kCarriageControl);
    bytes += BytesOf(field);
  }
  return bytes;
}

}  // namespace

Outcome MakePageEnvelope(const std::string& file, bool prefixed, PageEnvelope& envelope) {
  PictureInfo info;
  Outcome outcome = DescribePicture(file, 1, info);
  if (!outcome.Ok()) return outcome;
  const PageImage image{info.width, info.height, PageResolution(info.xResolution),
                        PageResolution(info.yResolution)};
  envelope.before = BytesOf(PageStartFields(image), prefixed);
  envelope.after = BytesOf(PageEndFields(), prefixed);
  return {};
}

std::string MakeBeginDocument() { return BytesOf(BeginDocumentField()); }

std::string MakeEndDocument() { return BytesOf(EndDocumentField()); }

}  // namespace kz
