#include "Toolkit/Documents/Document.h"

#include <algorithm>
#include <new>
#include <set>

#include "Toolkit/Documents/ImageReader.h"
#include "Toolkit/Documents/Indexer.h"
#include "Toolkit/Documents/ResourceFolder.h"
#include "Toolkit/Files/FileShift.h"
#include "Toolkit/Files/FileWindow.h"
#include "Toolkit/Images/AnyPicture.h"
#include "Toolkit/Images/InkProfile.h"

namespace kz {

namespace {

Outcome NoSuchPicture(size_t count) {
  if (count == 0) return Failure(K_ERROR_INVALID_FORMAT, "there is no picture");
  return Failure(K_ERROR_INVALID_FORMAT,
                 "there is no such picture, the last is picture " + std::to_string(count));
}

// Whether the filter, which looks at the first content of a segment, may be asked.
bool FilterReads(const IndexedPicture& at) {
  return at.kind == PictureKind::Ioca && at.content == 1;
}

// What the image object says of the picture counts beside what its segment says.
void TakeDescriptor(const ImageDescriptor& descriptor, PictureInfo& info) {
  if (!CutSize(descriptor, info.width, info.height)) return;
  info.bytes = UncompressedBytes(info.width, info.height, info.bitsPerPixel);
  info.storedAs = PictureFormat::kNone;
}

Outcome DescribeFirst(FileWindow& window, const std::string& file, Container container,
                      PictureInfo& info) {
  ImageReader reader(window);
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
  if (found.coding == Coding::Jpeg) found.storedAs = PictureFormat::kJpeg;
  info = found;
  return {};
}

Outcome ReadFirst(FileWindow& window, const std::string& file, Container container,
                  std::vector<unsigned char>& data) {
  ImageReader reader(window);
  PictureInfo ignored;
  Outcome outcome = reader.Open(file, container);
  if (outcome.Ok()) outcome = reader.Describe(ignored);
  return outcome.Ok() ? reader.ReadImageData(data) : outcome;
}

Outcome ReadFirstStored(FileWindow& window, const std::string& file, Container container,
                        StoredData& stored, bool& passes) {
  ImageReader reader(window);
  Outcome outcome = reader.Open(file, container);
  return outcome.Ok() ? reader.ReadStored(stored, passes) : outcome;
}

}  // namespace

Outcome Document::Open() {
  auto open = std::make_shared<FileWindow>();
  Outcome outcome = open->Open(m_name);
  if (!outcome.Ok()) return outcome;
  static const bool byDescriptor = ::access("/proc/self/fd", X_OK) == 0;
  m_file = byDescriptor ? "/proc/self/fd/" + std::to_string(open->Descriptor()) : m_name;
  m_open = std::move(open);
  m_far = FileShift::IsNeeded(m_open->Size());
  FileWindow file;
  file.See(*m_open);
  return IndexFile(file, m_name, m_index);
}

void Document::AddResources(const std::string& folder) {
  m_resources = std::make_shared<ResourceFolder>(folder);
}

std::vector<IncludedName> Document::Missing() const {
  std::vector<IncludedName> missing = m_index.Missing();
  if (m_resources == nullptr) return missing;
  const auto isThere = [&](const IncludedName& name) { return m_resources->Has(name.name); };
  missing.erase(std::remove_if(missing.begin(), missing.end(), isThere), missing.end());
  return missing;
}

std::vector<ShownPicture> Document::PicturesFromFolder() const {
  std::vector<ShownPicture> pictures;
  if (m_resources == nullptr) return pictures;
  std::set<std::pair<const Document*, int>> taken;
  for (const IncludedName& name : m_index.Missing()) {
    for (const ShownPicture& picture : m_resources->Pictures(name.name)) {
      if (taken.emplace(picture.document, picture.picture).second) pictures.push_back(picture);
    }
  }
  return pictures;
}

std::vector<ShownPicture> Document::PicturesOnPage(int page) const {
  std::vector<ShownPicture> pictures;
  for (const uint32_t what : m_index.ShownOn(page)) {
    if ((what & PageIndex::kInclude) == 0) {
      pictures.push_back({this, static_cast<int>(what) + 1});
    } else if (m_resources != nullptr) {
      const std::string& name = m_index.includes[what & ~PageIndex::kInclude].name;
      for (const ShownPicture& picture : m_resources->Pictures(name)) {
        if (pictures.size() == PageIndex::kMostShown) return pictures;
        pictures.push_back(picture);
      }
    }
  }
  return pictures;
}

bool Document::FindInFolder(const std::string& name, ResourcePlace& place) const {
  return m_resources != nullptr && m_resources->Find(name, place);
}

Outcome Document::OpenFile(FileWindow& file) const { return file.Open(m_file); }

// Runs read(where the picture is) with the file shifted to where the picture is the first.
template <typename Read>
Outcome Document::AtPicture(int picture, Read read) const {
  if (picture < 1 || picture > Pictures()) return NoSuchPicture(m_index.pictures.size());
  const IndexedPicture& at = m_index.pictures[static_cast<size_t>(picture) - 1];
  const FileShift shift(at.bytes.begin, m_far);
  Outcome outcome;
  try {
    outcome = read(at);
  } catch (const std::bad_alloc&) {
    return Failure(K_ERROR_NO_MEMORY);
  }
  if (!m_open->IsAsFound()) return Failure(K_ERROR_READ, "the file has changed meanwhile");
  const Outcome& structure = m_index.structure;
  if (outcome.status == K_ERROR_READ && structure.status == K_ERROR_READ) {
    outcome.what = structure.what;
  }
  return outcome;
}

Outcome Document::DescribePicture(int picture, PictureInfo& info) const {
  return AtPicture(picture, [&](const IndexedPicture& at) {
    FileWindow file;
    file.See(*m_open);
    if (!FilterReads(at) || !DescribeFirst(file, m_file, at.container, info).Ok()) {
      return DescribeAnyPicture(file, at, info);
    }
    TakeDescriptor(ReadImageDescriptor(file, at), info);
    return Outcome{};
  });
}

Outcome Document::ReadImageData(int picture, std::vector<unsigned char>& data) const {
  data.clear();
  Outcome outcome = AtPicture(picture, [&](const IndexedPicture& at) {
    FileWindow file;
    file.See(*m_open);
    if (FilterReads(at) && ReadFirst(file, m_file, at.container, data).Ok()) return Outcome{};
    return ReadAnyData(file, at, data);
  });
  if (!outcome.Ok()) data.clear();
  return outcome;
}

Outcome Document::PassStored(const IndexedPicture& at, const LoadOptions& options,
                             PictureData& data, bool& passes) const {
  FileWindow file;
  file.See(*m_open);
  Outcome outcome;
  StoredData stored;
  bool found = false;
  const char* whose = "page";
  if (!FilterReads(at) || !ReadFirstStored(file, m_file, at.container, stored, found).Ok()) {
    stored = {};
    whose = "image";
    found = ReadAnyStored(file, at, stored, outcome.warnings);
  }
  ImageDescriptor descriptor;
  if (at.kind == PictureKind::Ioca) descriptor = ReadImageDescriptor(file, at);
  ApplyResolution(descriptor, stored.xResolution, stored.yResolution);
  const int width = stored.width;
  const int height = stored.height;
  passes = found && PassData(std::move(stored), options, data);
  if (!passes) return {};
  int shownWidth = data.width;
  int shownHeight = data.height;
  // Colours of inks that a profile says would become others.
  passes = !CutSize(descriptor, shownWidth, shownHeight) &&
           (data.coding == PictureCoding::kJpeg || !IsColored(descriptor)) &&
           (data.components != 4 || (options.profile == nullptr && InkProfile(file) == nullptr));
  if (!passes) return {};
  if (width > 0 && height > 0 && (width != data.width || height != data.height)) {
    outcome.warnings.push_back("the JPEG data hold " + SizeText(data.width, data.height) +
                               ", the " + whose + " says " + SizeText(width, height));
  }
  return outcome;
}

Outcome Document::ReadPictureData(int picture, const LoadOptions& options, bool check,
                                  PictureData& data, bool& passes) const {
  passes = false;
  Outcome outcome = AtPicture(
      picture, [&](const IndexedPicture& at) { return PassStored(at, options, data, passes); });
  if (passes && check) passes = outcome.Ok() && CheckPictureData(data, options.maxPixels);
  if (!outcome.Ok() || !passes) {
    passes = false;
    data = {};
    outcome.warnings.clear();
  }
  return outcome;
}

bool CheckPictureData(PictureData& data, int64_t maxPixels) {
  return DecodeToCheck(data, maxPixels);
}

// What the file holds itself comes before what the caller has.
SharedProfile Document::InkProfile(FileWindow& file) const {
  std::call_once(m_profileSought, [&] {
    for (const IndexedResource& resource : m_index.resources) {
      if (resource.code != sf::kBeginObjectContainer) continue;
      std::vector<unsigned char> profile = FindInkProfile(file, resource.bytes);
      if (profile.empty()) continue;
      m_profile = std::make_shared<const std::vector<unsigned char>>(std::move(profile));
      break;
    }
  });
  return m_profile;
}

Outcome Document::Load(const IndexedPicture& at, const LoadOptions& options, DecodedImage& image,
                       PictureInfo& info) const {
  FileWindow file;
  file.See(*m_open);
  Outcome filters = Failure(K_ERROR_INVALID_FORMAT);
  bool damaged = false;
  if (FilterReads(at)) {
    filters = LoadFirstPicture(file, m_file, at.container, options, image.bitmap, info, damaged);
    if (filters.Ok()) {
      const ImageDescriptor descriptor = ReadImageDescriptor(file, at);
      Outcome described = ApplyDescriptor(descriptor, image.bitmap);
      if (!described.Ok()) return described;
      TakeDescriptor(descriptor, info);
    }
  }
  if ((filters.Ok() && !damaged) || filters.status == K_ERROR_NO_MEMORY) return filters;
  // The toolkit would decode these the same way. Of 4 bits it may be told otherwise: some
  // write a depth of 1 that the filter takes for none.
  if (damaged && info.coding == Coding::Abic && info.bitsPerPixel == 1) return filters;

  DecodedImage other;
  PictureInfo found;
  bool stillDamaged = false;
  Outcome outcome = LoadAnyPicture(file, at, options, other, found, stillDamaged,
                                   [&] { return InkProfile(file); });
  if (filters.Ok() && (!outcome.Ok() || stillDamaged)) {
    return options.strict ? Failure(K_ERROR_INVALID_FORMAT, filters.warnings[0]) : filters;
  }
  if (!outcome.Ok()) {
    // Whoever has words of its own for it knows more.
    const bool words = info.format != 0 && filters.what != StatusText(filters.status);
    if (words) return filters;
    info = found;
    return outcome;
  }
  image = std::move(other);
  info = found;
  return outcome;
}

Outcome Document::LoadPicture(int picture, const LoadOptions& options, DecodedImage& image,
                              PictureInfo* info) const {
  image = {};
  PictureInfo found;
  Outcome outcome =
      AtPicture(picture, [&](const IndexedPicture& at) { return Load(at, options, image, found); });
  if (!outcome.Ok()) image = {};
  if (info != nullptr) *info = found;
  return outcome;
}

Outcome Document::LoadPicture(int picture, const LoadOptions& options, Bitmap& bitmap,
                              PictureInfo* info) const {
  LoadOptions colors = options;
  colors.keepInks = false;
  DecodedImage image;
  Outcome outcome = LoadPicture(picture, colors, image, info);
  bitmap = std::move(image.bitmap);
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
