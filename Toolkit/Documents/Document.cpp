#include "Toolkit/Documents/Document.h"

#include <algorithm>

#include "Toolkit/Documents/ImageReader.h"
#include "Toolkit/Documents/ResourceFolder.h"
#include "Toolkit/Files/FileShift.h"
#include "Toolkit/Files/FileWindow.h"

namespace kz {

namespace {

uint64_t UncompressedBytes(int64_t width, int64_t height, int bitsPerPixel) {
  return static_cast<uint64_t>(height * ((width * bitsPerPixel + 7) / 8));
}

Outcome NoSuchPicture(size_t count) {
  if (count == 0) return Failure(K_ERROR_INVALID_FORMAT, "there is no picture");
  return Failure(K_ERROR_INVALID_FORMAT,
                 "there is no such picture, the last is picture " + std::to_string(count));
}

Outcome DescribeFirst(const std::string& file, Container container, PictureInfo& info) {
  ImageReader reader;
  PictureInfo found;
  Outcome outcome = reader.Open(file, container);
  if (outcome.Ok()) outcome = reader.Describe(found);
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

Outcome ReadFirst(const std::string& file, Container container, std::vector<unsigned char>& data) {
  ImageReader reader;
  PictureInfo ignored;
  Outcome outcome = reader.Open(file, container);
  if (outcome.Ok()) outcome = reader.Describe(ignored);
  return outcome.Ok() ? reader.ReadImageData(data) : outcome;
}

}  // namespace

Outcome Document::Open() {
  auto open = std::make_shared<FileWindow>();
  Outcome outcome = open->Open(m_name);
  if (!outcome.Ok()) return outcome;
  const std::string path = "/proc/self/fd/" + std::to_string(open->Descriptor());
  m_file = ::access(path.c_str(), F_OK) == 0 ? path : m_name;
  m_open = std::move(open);
  m_far = FileShift::IsNeeded(m_file);
  outcome = IndexFile(m_file, m_index);
  m_index.file = m_name;
  return outcome;
}

void Document::AddResources(const std::string& folder) {
  m_resources = std::make_shared<ResourceFolder>(folder);
}

std::vector<ShownPicture> Document::PicturesOnPage(int page) const {
  std::vector<ShownPicture> pictures;
  for (const uint32_t what : m_index.ShownOn(page)) {
    if ((what & PageIndex::kInclude) == 0) {
      pictures.push_back({this, static_cast<int>(what) + 1});
    } else if (m_resources != nullptr) {
      const Document* file = m_resources->Open(m_index.includes[what & ~PageIndex::kInclude].name);
      for (int picture = 1; file != nullptr && picture <= file->Pictures(); ++picture) {
        if (pictures.size() == PageIndex::kMostShown) return pictures;
        pictures.push_back({file, picture});
      }
    }
  }
  return pictures;
}

// Runs read(container) with the file shifted to where the picture is the first.
template <typename Read>
Outcome Document::AtPicture(int picture, Read read) const {
  if (picture < 1 || picture > Pictures()) return NoSuchPicture(m_index.pictures.size());
  const IndexedPicture& at = m_index.pictures[static_cast<size_t>(picture) - 1];
  if (at.kind != PictureKind::Ioca) {
    return Failure(K_ERROR_INVALID_FORMAT, std::string("it is of a kind that can't be read yet: ") +
                                               PictureKindName(at.kind));
  }
  if (at.content > 1) {
    return Failure(
        K_ERROR_INVALID_FORMAT,
        "it is not the first image content of its segment, the only one that can be read");
  }
  const FileShift shift(at.bytes.begin, m_far);
  Outcome outcome = read(at.container);
  if (!m_open->IsAsFound()) return Failure(K_ERROR_READ, "the file has changed meanwhile");
  const Outcome& structure = m_index.structure;
  if (outcome.status == K_ERROR_READ && structure.status == K_ERROR_READ) {
    outcome.what = structure.what;
  }
  return outcome;
}

Outcome Document::DescribePicture(int picture, PictureInfo& info) const {
  return AtPicture(picture,
                   [&](Container container) { return DescribeFirst(m_file, container, info); });
}

Outcome Document::ReadImageData(int picture, std::vector<unsigned char>& data) const {
  data.clear();
  Outcome outcome =
      AtPicture(picture, [&](Container container) { return ReadFirst(m_file, container, data); });
  if (!outcome.Ok()) data.clear();
  return outcome;
}

Outcome Document::LoadPicture(int picture, const LoadOptions& options, Bitmap& bitmap,
                              PictureInfo* info) const {
  bitmap.Reset();
  PictureInfo found;
  Outcome outcome = AtPicture(picture, [&](Container container) {
    return LoadFirstPicture(m_file, container, options, bitmap, found);
  });
  if (!outcome.Ok()) bitmap.Reset();
  if (info != nullptr) *info = found;
  return outcome;
}

Outcome DescribePicture(const std::string& file, int picture, PictureInfo& info) {
  Document document(file);
  Outcome outcome = document.Open();
  return outcome.Ok() ? document.DescribePicture(picture, info) : outcome;
}

Outcome ReadImageData(const std::string& file, int picture, std::vector<unsigned char>& data) {
  Document document(file);
  Outcome outcome = document.Open();
  return outcome.Ok() ? document.ReadImageData(picture, data) : outcome;
}

Outcome LoadPicture(const std::string& file, int picture, const LoadOptions& options,
                    Bitmap& bitmap, PictureInfo* info) {
  Document document(file);
  Outcome outcome = document.Open();
  return outcome.Ok() ? document.LoadPicture(picture, options, bitmap, info) : outcome;
}

}  // namespace kz
