#include "Toolkit/Images/ContainedFile.h"

#include <fcntl.h>

#include <cerrno>
#include <new>
#include <string>

#include "Toolkit/Files/FileDescriptor.h"
#include "Toolkit/Files/SpoolFile.h"
#include "Toolkit/Imaging/JpegCodec.h"
#include "Toolkit/Imaging/JpegFrame.h"
#include "Toolkit/Pictures/PictureFile.h"
#include "Toolkit/Pictures/Tiff/TiffFile.h"
#include "Toolkit/Pictures/Tiff/TiffSamples.h"

namespace kz {

namespace {

// What reading the tags of a file may cost beyond its length.
constexpr uint64_t kTiffTagsRead = 65536;
constexpr uint32_t kMaxSide = 1U << 30;

constexpr uint8_t kJpeg = RowOf(Compression::Jpeg).id;

// Of the beginning, for telling one kind of file from another.
constexpr size_t kSignatureBytes = 4;

Outcome Empty() { return Failure(K_ERROR_READ, "its object container is empty"); }

Outcome Append(SpoolFile& spool, const std::vector<unsigned char>& data) {
  if (WriteFully(spool.Descriptor(), data.data(), data.size())) return {};
  return SystemFailure(K_ERROR_WRITE, errno);
}

// `data` are the beginning of the file and get as much of the rest as it takes.
Outcome DescribeJpeg(ContainerData& rest, std::vector<unsigned char>& data, PictureInfo& info) {
  info.coding = Coding::Jpeg;
  info.compression = RowOf(Compression::Jpeg).name;
  info.storedAs = PictureFormat::kJpeg;
  JpegFrame frame;
  size_t at = 0;
  JpegSearch found = JpegSearch::MoreData;
  do {
    found = FindJpegFrame(data, at, frame);
  } while (found == JpegSearch::MoreData && rest.Append(data));
  if (found != JpegSearch::Found) {
    return Failure(K_ERROR_INVALID_FORMAT, "the JPEG data have no usable frame header");
  }
  info.width = frame.width;
  info.height = frame.height;
  info.bitsPerPixel = 8 * frame.components;
  return {};
}

// TIFF files point to and fro in themselves: they are read as files. `data` are the beginning
// of the file, and are used up.
Outcome SpoolTiff(ContainerData& rest, std::vector<unsigned char>& data, SpoolFile& spool,
                  PictureInfo& info) {
  info.compression = "TIFF file";
  info.storedAs = PictureFormat::kTiff;
  uint64_t size = 0;
  Outcome outcome = spool.Open();
  for (bool more = true; more && outcome.Ok(); more = rest.Append(data)) {
    outcome = Append(spool, data);
    size += data.size();
    data.clear();
  }
  if (!outcome.Ok()) return outcome;
  TiffFile tiff(OpenDescriptor(spool.Path().c_str(), O_RDONLY), "r");
  tiff.Allow(size + kTiffTagsRead);
  if (tiff.Get() == nullptr) return tiff.Complaint(K_ERROR_INVALID_FORMAT);
  const TiffTags tags = ReadTiffTags(tiff.Get());
  if (tags.width > kMaxSide || tags.height > kMaxSide) return Failure(K_ERROR_INVALID_FORMAT);
  info.width = static_cast<int>(tags.width);
  info.height = static_cast<int>(tags.height);
  info.bitsPerPixel = tags.bitsPerSample * tags.samples;
  return {};
}

Outcome LoadTiff(const SpoolFile& spool, const LoadOptions& options, DecodedImage& image,
                 bool& damaged) {
  PictureReader reader;
  Outcome outcome = reader.Open(spool.Path(), options.maxPixels);
  if (outcome.Ok()) outcome = reader.Read(1, image.bitmap);
  if (!outcome.Ok()) return outcome;
  damaged = !outcome.warnings.empty();
  if (damaged && options.RefusesMissingRows()) {
    image = {};
    return Failure(K_ERROR_INVALID_FORMAT, outcome.warnings[0]);
  }
  if (reader.Pages() > 1) {
    outcome.warnings.push_back("it is the first of the " + std::to_string(reader.Pages()) +
                               " pages of its TIFF file");
  }
  return outcome;
}

// Reads the beginning of a contained file, or all of it.
bool ReadBeginning(ContainerData& parts, std::vector<unsigned char>& data) {
  while (data.size() < kSignatureBytes && parts.Append(data)) {
  }
  return !data.empty();
}

}  // namespace

bool ContainerData::Append(std::vector<unsigned char>& data) {
  for (ScannedField field; m_walk.Next(field);) {
    if (field.code != sf::kObjectContainerData) continue;
    const ByteSpan part = DataOf(m_file, field);
    data.insert(data.end(), part.begin(), part.end());
    return true;
  }
  return false;
}

Outcome ReadContainedFile(FileWindow& file, const PicturePlace& place,
                          std::vector<unsigned char>& data) try {
  data.clear();
  ContainerData parts(file, place.bytes);
  while (parts.Append(data)) {
  }
  return data.empty() ? Empty() : Outcome{};
} catch (const std::bad_alloc&) {
  return Failure(K_ERROR_NO_MEMORY);
}

Outcome DescribeContainedFile(FileWindow& file, const PicturePlace& place, PictureInfo& info) try {
  ContainerData parts(file, place.bytes);
  std::vector<unsigned char> data;
  if (!ReadBeginning(parts, data)) return Empty();
  if (IsJpeg(data.data(), data.size())) return DescribeJpeg(parts, data, info);
  SpoolFile spool;
  return SpoolTiff(parts, data, spool, info);
} catch (const std::bad_alloc&) {
  return Failure(K_ERROR_NO_MEMORY);
}

Outcome LoadContainedFile(FileWindow& file, const PicturePlace& place, const LoadOptions& options,
                          DecodedImage& image, PictureInfo& info, bool& damaged) try {
  image = {};
  damaged = false;
  ImageContent content;
  content.image.parameters.compression = kJpeg;
  content.image.at = place.bytes.begin;
  std::vector<unsigned char>& data = content.image.bands.emplace_back();
  ContainerData parts(file, place.bytes);
  if (!ReadBeginning(parts, data)) return Empty();
  if (!IsJpeg(data.data(), data.size())) {
    SpoolFile spool;
    Outcome outcome = SpoolTiff(parts, data, spool, info);
    return outcome.Ok() ? LoadTiff(spool, options, image, damaged) : outcome;
  }
  Outcome outcome = DescribeJpeg(parts, data, info);
  if (!outcome.Ok()) return outcome;
  while (parts.Append(data)) {
  }
  return DecodeImage(content, {}, options, image, damaged);
} catch (const std::bad_alloc&) {
  image = {};
  return Failure(K_ERROR_NO_MEMORY);
}

}  // namespace kz
