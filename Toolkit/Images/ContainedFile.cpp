#include "Toolkit/Images/ContainedFile.h"

#include <fcntl.h>

#include <cerrno>
#include <new>
#include <string>

#include "Format/FieldScan.h"
#include "Toolkit/Files/FileDescriptor.h"
#include "Toolkit/Files/SpoolFile.h"
#include "Toolkit/Imaging/JpegCodec.h"
#include "Toolkit/Imaging/JpegFrame.h"
#include "Toolkit/Pictures/PictureFile.h"
#include "Toolkit/Pictures/TiffFile.h"
#include "Toolkit/Pictures/TiffSamples.h"

namespace kz {

namespace {

// What reading the tags of a file may cost beyond its length.
constexpr uint64_t kTiffTagsRead = 65536;
constexpr uint32_t kMaxSide = 1U << 30;

constexpr uint8_t kJpeg = RowOf(Compression::Jpeg).id;

// TIFF files point to and fro in themselves: they are read as files.
Outcome Spool(const std::vector<unsigned char>& data, SpoolFile& spool) {
  Outcome outcome = spool.Open();
  if (outcome.Ok() && !WriteFully(spool.Descriptor(), data.data(), data.size())) {
    outcome = SystemFailure(K_ERROR_WRITE, errno);
  }
  return outcome;
}

Outcome LoadTiff(const std::vector<unsigned char>& data, const LoadOptions& options,
                 DecodedImage& image, bool& damaged) {
  SpoolFile spool;
  Outcome outcome = Spool(data, spool);
  if (!outcome.Ok()) return outcome;
  PictureReader reader;
  outcome = reader.Open(spool.Path(), options.maxPixels);
  if (outcome.Ok()) outcome = reader.Read(1, image.bitmap);
  if (!outcome.Ok()) return outcome;
  damaged = !outcome.warnings.empty();
  if (damaged && options.strict) {
    image = {};
    return Failure(K_ERROR_INVALID_FORMAT, outcome.warnings[0]);
  }
  if (reader.Pages() > 1) {
    outcome.warnings.push_back("it is the first of the " + std::to_string(reader.Pages()) +
                               " pages of its TIFF file");
  }
  return outcome;
}

Outcome DescribeJpeg(const std::vector<unsigned char>& data, PictureInfo& info) {
  info.coding = Coding::Jpeg;
  info.compression = RowOf(Compression::Jpeg).name;
  info.storedAs = PictureFormat::kJpeg;
  JpegFrame frame;
  size_t at = 0;
  if (FindJpegFrame(data, at, frame) != JpegSearch::Found) {
    return Failure(K_ERROR_INVALID_FORMAT, "the JPEG data have no usable frame header");
  }
  info.width = frame.width;
  info.height = frame.height;
  info.bitsPerPixel = 8 * frame.components;
  return {};
}

Outcome DescribeTiff(const std::vector<unsigned char>& data, PictureInfo& info) {
  info.compression = "TIFF file";
  info.storedAs = PictureFormat::kTiff;
  SpoolFile spool;
  Outcome outcome = Spool(data, spool);
  if (!outcome.Ok()) return outcome;
  TiffFile tiff(OpenDescriptor(spool.Path().c_str(), O_RDONLY), "r");
  tiff.Allow(data.size() + kTiffTagsRead);
  if (tiff.Get() == nullptr) return tiff.Complaint(K_ERROR_INVALID_FORMAT);
  const TiffTags tags = ReadTiffTags(tiff.Get());
  if (tags.width > kMaxSide || tags.height > kMaxSide) return Failure(K_ERROR_INVALID_FORMAT);
  info.width = static_cast<int>(tags.width);
  info.height = static_cast<int>(tags.height);
  info.bitsPerPixel = tags.bitsPerSample * tags.samples;
  return {};
}

}  // namespace

Outcome DescribeContainedFile(FileWindow& file, const PicturePlace& place, PictureInfo& info) {
  std::vector<unsigned char> data;
  Outcome outcome = ReadContainedFile(file, place, data);
  if (!outcome.Ok()) return outcome;
  return IsJpeg(data.data(), data.size()) ? DescribeJpeg(data, info) : DescribeTiff(data, info);
}

Outcome ReadContainedFile(FileWindow& file, const PicturePlace& place,
                          std::vector<unsigned char>& data) try {
  data.clear();
  FieldWalk walk(file, place.bytes.begin, place.bytes.end);
  for (ScannedField field; walk.Next(field);) {
    if (field.code != sf::kObjectContainerData) continue;
    const ByteSpan part = DataOf(file, field);
    data.insert(data.end(), part.begin(), part.end());
  }
  return data.empty() ? Failure(K_ERROR_READ, "its object container is empty") : Outcome{};
} catch (const std::bad_alloc&) {
  return Failure(K_ERROR_NO_MEMORY);
}

Outcome LoadContainedFile(FileWindow& file, const PicturePlace& place, const LoadOptions& options,
                          DecodedImage& image, bool& damaged) {
  image = {};
  damaged = false;
  ImageContent content;
  content.image.parameters.compression = kJpeg;
  content.image.at = place.bytes.begin;
  std::vector<unsigned char>& data = content.image.bands.emplace_back();
  Outcome outcome = ReadContainedFile(file, place, data);
  if (!outcome.Ok()) return outcome;
  return IsJpeg(data.data(), data.size()) ? DecodeImage(content, {}, options, image, damaged)
                                          : LoadTiff(data, options, image, damaged);
}

}  // namespace kz
