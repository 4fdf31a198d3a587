#include "Toolkit/Documents/Document.h"

#include "Toolkit/Documents/ImagePlaces.h"
#include "Toolkit/Documents/PageIndex.h"
#include "Toolkit/Documents/PageReader.h"
#include "Toolkit/Files/FileShift.h"
#include "Toolkit/Files/FileWindow.h"

namespace kz {

namespace {

uint64_t UncompressedBytes(int64_t width, int64_t height, int bitsPerPixel) {
  return static_cast<uint64_t>(height * ((width * bitsPerPixel + 7) / 8));
}

}  // namespace

Outcome DescribePage(const std::string& file, int page, bool countPages, PageInfo& info) {
  if (FileShift::IsNeeded(file)) {
    Document document(file);
    const Outcome indexed = document.Index();
    Outcome outcome = indexed.Ok() ? document.DescribePage(page, info) : indexed;
    if (outcome.Ok() && countPages) {
      info.pages = document.Pages();
      info.structure = document.Structure();
    }
    return outcome;
  }
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
  if (FileShift::IsNeeded(file)) {
    Document document(file);
    Outcome far = document.Index();
    if (far.Ok() && info != nullptr) far = document.DescribePage(page, *info);
    return far.Ok() ? document.ReadImageData(page, data) : far;
  }
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

Outcome Document::Index() {
  m_places.clear();
  auto open = std::make_shared<FileWindow>();
  Outcome outcome = open->Open(m_name);
  if (!outcome.Ok()) return outcome;
  const std::string path = "/proc/self/fd/" + std::to_string(open->Descriptor());
  m_file = ::access(path.c_str(), F_OK) == 0 ? path : m_name;
  m_open = std::move(open);
  m_far = FileShift::IsNeeded(m_file);
  PageInfo first;
  if (m_far) {
    outcome = FindContainer(m_file, first.container);
  } else {
    PageReader reader;
    outcome = reader.Open(m_file);
    if (outcome.Ok()) outcome = reader.DescribePage(1, false, first);
  }
  if (!outcome.Ok()) return outcome;
  if (first.container == Container::Ioca) {
    m_places.push_back({0, Container::Ioca});
    return {};
  }
  FileWindow file;
  outcome = file.Open(m_file);
  if (!outcome.Ok()) return outcome;
  ImagePlaces found = FindImagePlaces(file, 0);
  m_places = std::move(found.places);
  m_structure = std::move(found.structure);
  if (m_places.empty()) {
    outcome = m_structure.Ok() ? Failure(K_ERROR_READ, "the document has no image") : m_structure;
  }
  return outcome;
}

// Runs read(page) with the file shifted to where that page is the first, and puts
// right what is said about it.
template <typename Read>
Outcome Document::AtPage(int page, PageInfo* info, Read read) const {
  if (m_places.empty()) return read(page);
  if (page < 1 || page > Pages()) return NoSuchPage(page < 1 ? 0 : Pages());
  const ImagePlace& place = m_places[static_cast<size_t>(page) - 1];
  const FileShift shift(place.position, m_far);
  Outcome outcome = read(1);
  if (!m_open->IsAsFound()) return Failure(K_ERROR_READ, "the file has changed meanwhile");
  if (info != nullptr && outcome.Ok()) {
    info->page = page;
    info->container = place.container;
    info->format = DescribedFormatCode(*FindFormatCode(info->format).row, place.container);
  }
  return outcome;
}

Outcome Document::DescribePage(int page, PageInfo& info) const {
  return AtPage(page, &info, [&](int p) { return kz::DescribePage(m_file, p, false, info); });
}

Outcome Document::ReadImageData(int page, std::vector<unsigned char>& data) const {
  return AtPage(page, nullptr, [&](int p) { return kz::ReadImageData(m_file, p, data); });
}

Outcome Document::LoadPage(int page, const LoadOptions& options, Bitmap& bitmap,
                           PageInfo* info) const {
  return AtPage(page, info, [&](int p) { return kz::LoadPage(m_file, p, options, bitmap, info); });
}

}  // namespace kz
