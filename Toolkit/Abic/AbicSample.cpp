#include "Toolkit/Abic/AbicSample.h"

#include <string>
#include <utility>

#include "Toolkit/Base/ReversedBits.h"
#include "Toolkit/Images/Decoding/ImageCoding.h"
#include "Toolkit/Images/Decoding/SampleFormat.h"
#include "Toolkit/Images/ImageContent.h"

namespace kz {

namespace {

bool HasAbic(const ImageContent& content) {
  if (IsAbic(content.image.parameters.compression)) return true;
  for (const ImageTile& tile : content.tiles) {
    if (IsAbic(tile.image.parameters.compression)) return true;
  }
  return content.mask && IsAbic(content.mask->parameters.compression);
}

class Sampling {
 public:
  Sampling(size_t limit, std::vector<AbicSample>& samples) : m_limit(limit), m_samples(samples) {}

  bool IsFull() const { return m_samples.size() >= m_limit || m_bytes >= kMostSampledBytes; }

  // The strings of a picture, if it has any.
  void Take(FileWindow& file, const PicturePlace& place, int picture) {
    ImageContent content;
    if (place.kind != PictureKind::Ioca || !ReadImageParameters(file, place, content).Ok() ||
        !HasAbic(content) || !ReadImageContent(file, place, content).Ok()) {
      return;
    }
    m_picture = picture;
    Take(std::move(content.image));
    for (ImageTile& tile : content.tiles) Take(std::move(tile.image));
    if (content.mask) Take(std::move(*content.mask));
  }

 private:
  void Take(CodedImage&& image) {
    const ImageParameters& parameters = image.parameters;
    SampleFormat format;
    if (!IsAbic(parameters.compression) || !FindSampleFormat(parameters, image.at, format).Ok()) {
      return;
    }
    const bool bands = image.bands.size() > 1;
    for (size_t band = 0; band < image.bands.size() && !IsFull(); ++band) {
      if (image.bands[band].empty() || (bands && band >= format.bits.size())) continue;
      AbicSample& sample = m_samples.emplace_back();
      sample.picture = m_picture;
      sample.width = parameters.width;
      sample.height = parameters.height;
      sample.depth = bands ? format.bits[band] : format.PixelBits();
      sample.exactWidth = parameters.recording == kRecordingUnpaddedRidic;
      sample.data = std::move(image.bands[band]);
      if (parameters.lowestBitFirst) ReverseBits(sample.data);
      m_bytes += sample.data.size();
    }
  }

  size_t m_limit;
  std::vector<AbicSample>& m_samples;
  size_t m_bytes = 0;
  int m_picture = 0;
};

}  // namespace

Outcome ReadAbicSamples(const Document& document, size_t limit, std::vector<AbicSample>& samples) {
  FileWindow file;
  Outcome outcome = document.OpenFile(file);
  if (!outcome.Ok()) return outcome;
  Sampling sampling(limit, samples);
  for (int picture = 1; picture <= document.Pictures() && !sampling.IsFull(); ++picture) {
    sampling.Take(file, document.Index().pictures[static_cast<size_t>(picture) - 1], picture);
  }
  return {};
}

Outcome ReadAbicSamples(const Document& document, int picture, std::vector<AbicSample>& samples) {
  if (picture < 1 || picture > document.Pictures()) {
    return Failure(K_ERROR_INVALID_FORMAT, "there is no image " + std::to_string(picture));
  }
  FileWindow file;
  Outcome outcome = document.OpenFile(file);
  if (!outcome.Ok()) return outcome;
  Sampling(SIZE_MAX, samples)
      .Take(file, document.Index().pictures[static_cast<size_t>(picture) - 1], picture);
  if (samples.empty()) {
    return Failure(K_ERROR_INVALID_FORMAT,
                   "image " + std::to_string(picture) + " has no ABIC data");
  }
  return {};
}

}  // namespace kz
