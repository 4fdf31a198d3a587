#include "Toolkit/Images/Decoding/CodedPicture.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "Toolkit/Base/ReversedBits.h"
#include "Toolkit/Images/Coders/JpegImage.h"
#include "Toolkit/Images/Decoding/CodedPlane.h"
#include "Toolkit/Images/Decoding/ImageCoding.h"
#include "Toolkit/Images/Decoding/SamplePlane.h"
#include "Toolkit/Imaging/JpegCodec.h"
#include "Toolkit/Imaging/JpegFrame.h"

namespace kz {

namespace {

bool OwnSize(uint8_t compression) {
  return compression == coding::kJpeg || compression == coding::kJbig2;
}

void FlipRows(unsigned char* rows, size_t stride, int height) {
  for (int top = 0, bottom = height - 1; top < bottom; ++top, --bottom) {
    unsigned char* upper = rows + static_cast<size_t>(top) * stride;
    std::swap_ranges(upper, upper + stride, rows + static_cast<size_t>(bottom) * stride);
  }
}

class Decoder {
 public:
  Decoder(const CodedImage& image, const CodedOptions& options, CodedPicture& picture)
      : m_image(image),
        m_parameters(image.parameters),
        m_options(options),
        m_picture(picture),
        m_bottomUp(image.parameters.recording == kRecordingBottomToTop) {}

  Outcome Decode() {
    const bool isJpeg = m_parameters.compression == coding::kJpeg;
    if (m_parameters.compression == coding::kSolidFill) return Fill();
    if (std::all_of(m_image.bands.begin(), m_image.bands.end(),
                    [](const auto& band) { return band.empty(); })) {
      return Failure(K_ERROR_READ, "the image has no data");
    }
    if (isJpeg && m_image.bands.size() == 1) return DecodeJpeg(m_image.bands[0], false);
    if (isJpeg && !StartsAsJpeg()) {
      const std::vector<unsigned char> data = GatherDealtBytes(m_image.bands);
      if (IsJpeg(data.data(), data.size())) return DecodeJpeg(data, true);
    }
    return DecodeBands();
  }

 private:
  // Whether any band's data are JPEG of their own.
  bool StartsAsJpeg() const {
    return std::any_of(m_image.bands.begin(), m_image.bands.end(),
                       [](const auto& band) { return IsJpeg(band.data(), band.size()); });
  }

  Outcome CheckSize(int width, int height, int depth) const {
    Outcome outcome = CheckPictureSize(width, height, std::min(depth, 24), m_options.maxPixels);
    if (outcome.Ok() && depth == 32 && height > kMaxPictureBytes / 4 / width) {
      outcome = Failure(K_ERROR_INVALID_FORMAT,
                        "the picture of " + SizeText(width, height) + " takes too much memory");
    }
    return outcome;
  }

  Outcome Fill() {
    Outcome outcome = CheckSize(m_parameters.width, m_parameters.height, 1);
    if (!outcome.Ok()) return outcome;
    const int status = m_picture.bitmap.Create(m_parameters.width, m_parameters.height, 1);
    if (status != K_SUCCESS) return Failure(status);
    const std::vector<unsigned char> ones(static_cast<size_t>(m_picture.bitmap.BytesPerLine()),
                                          0xFF);
    for (int row = 0; row < m_picture.bitmap.Height(); ++row) {
      CopyBits(ones, 0, static_cast<size_t>(m_parameters.width), m_picture.bitmap.TopDownRow(row));
    }
    return {};
  }

  // Takes down what went wrong with rows that were coded in a `height` high picture.
  Outcome NoteFault(const CodedRows& decoded, int height) {
    const bool missing = decoded.rows < height;
    if (!missing && !decoded.damaged && decoded.status == K_SUCCESS) return {};
    m_picture.damaged = true;
    const int first = m_bottomUp ? 1 : decoded.rows + 1;
    const int last = m_bottomUp ? height - decoded.rows : height;
    std::string rows = first == last ? "row " : "rows ";
    rows += std::to_string(first);
    if (first != last) rows += " to " + std::to_string(last);
    rows += " could not be read";
    const bool endsEarly = missing || decoded.status == K_ERROR_READ;
    if (m_options.strict || (m_options.complete && endsEarly)) {
      const int status = decoded.status == K_SUCCESS ? K_ERROR_INVALID_FORMAT : decoded.status;
      const std::string why = decoded.what.empty() ? StatusText(status) : decoded.what;
      return Failure(status, missing ? rows + ": " + why : why);
    }
    if (missing) m_picture.warnings.push_back(std::move(rows));
    if (decoded.damaged) {
      m_picture.warnings.push_back(DamageWords(decoded));
    }
    return {};
  }

  std::string DamageWords(const CodedRows& decoded) const {
    const uint8_t compression = m_parameters.compression;
    if (IsAbic(compression)) return decoded.what;
    if (FaxCodeOf(compression) != 0) return "damaged lines were replaced by the lines above them";
    return std::string(compression == coding::kJpeg ? "the JPEG" : "the JBIG2") +
           " data are damaged, parts of the picture are wrong";
  }

  void NoteOwnSize(int width, int height) {
    if (m_options.isTile || m_parameters.width == 0 || m_parameters.height == 0 ||
        (width == m_parameters.width && height == m_parameters.height)) {
      return;
    }
    m_picture.warnings.push_back(
        std::string(m_parameters.compression == coding::kJpeg ? "the JPEG" : "the JBIG2") +
        " data hold " + SizeText(width, height) + ", the image says " +
        SizeText(m_parameters.width, m_parameters.height));
  }

  // JPEG data of all components. Their own markers say what the colours are.
  Outcome DecodeJpeg(CodedBytes data, bool dealt) {
    const CodedRows decoded = DecodeJpegImage(data, {m_options.maxPixels, false, dealt},
                                              m_picture.bitmap, m_picture.inks);
    if (decoded.rows == 0) return Failure(decoded.status, decoded.what);
    Outcome outcome = NoteFault(decoded, m_picture.Height());
    if (!outcome.Ok()) return outcome;
    NoteOwnSize(m_picture.Width(), m_picture.Height());
    const bool inks = m_picture.HasInks();
    unsigned char* rows = inks ? m_picture.inks.rows.data() : m_picture.bitmap.TopDownRow(0);
    const size_t stride = inks ? static_cast<size_t>(m_picture.inks.width) * 4
                               : static_cast<size_t>(m_picture.bitmap.BytesPerLine());
    if (m_parameters.subtractive) {
      std::transform(rows, rows + static_cast<size_t>(decoded.rows) * stride, rows,
                     [](unsigned char b) { return static_cast<unsigned char>(255 - b); });
    }
    if (m_bottomUp) FlipRows(rows, stride, m_picture.Height());
    return outcome;
  }

  Outcome DecodeBands() {
    Outcome outcome = FindSampleFormat(m_parameters, m_image.at, m_format);
    if (!outcome.Ok()) return outcome;
    const size_t bands = m_image.bands.size();
    if (bands > 1 && bands != m_format.Components()) {
      return Failure(K_ERROR_INVALID_FORMAT, std::to_string(bands) + " bands for " +
                                                 std::to_string(m_format.Components()) +
                                                 " components at byte " +
                                                 std::to_string(m_image.at) + " are not supported");
    }
    if (!OwnSize(m_parameters.compression)) {
      outcome = CheckSize(m_parameters.width, std::max(m_parameters.height, 1), m_format.Depth());
      if (!outcome.Ok()) return outcome;
    }
    if (m_parameters.compression == coding::kJpeg) {
      std::fill(m_format.bits.begin(), m_format.bits.end(), uint8_t{8});
    }
    std::vector<SamplePlane> planes(bands);
    std::vector<std::vector<unsigned char>> reversed(m_parameters.lowestBitFirst ? bands : 0);
    for (size_t band = 0; band < bands; ++band) {
      CodedBytes data = m_image.bands[band];
      if (data.empty()) continue;
      if (m_parameters.lowestBitFirst && m_parameters.compression != coding::kJpeg) {
        reversed[band].assign(data.begin(), data.end());
        ReverseBits(reversed[band]);
        data = reversed[band];
      }
      const PlaneRequest request = {&m_parameters, m_image.at, m_options.maxPixels,
                                    bands > 1 ? m_format.bits[band] : m_format.PixelBits(),
                                    bands > 1 ? size_t{1} : m_format.Components()};
      outcome = DecodePlane(data, request, planes[band]);
      if (!outcome.Ok()) return outcome;
    }
    return Assemble(planes);
  }

  // What all planes have in common. Planes without data are all zeros, whatever the size.
  CodedRows Common(const std::vector<SamplePlane>& planes, int& width, int& height) const {
    CodedRows common;
    common.rows = width = height = INT32_MAX;
    for (const SamplePlane& plane : planes) {
      if (plane.data.empty()) continue;
      width = std::min(width, plane.width);
      height = std::min(height, plane.height);
      common.rows = std::min(common.rows, plane.decoded.rows);
      common.damaged = common.damaged || plane.decoded.damaged;
      if (common.status == K_SUCCESS) common.status = plane.decoded.status;
      if (common.what.empty()) common.what = plane.decoded.what;
    }
    common.rows = std::min(common.rows, height);
    return common;
  }

  Outcome Assemble(std::vector<SamplePlane>& planes) {
    int width = 0;
    int height = 0;
    const CodedRows decoded = Common(planes, width, height);
    Outcome outcome = CheckSize(width, height, m_format.Depth());
    if (outcome.Ok()) outcome = NoteFault(decoded, height);
    if (!outcome.Ok()) return outcome;
    if (OwnSize(m_parameters.compression)) NoteOwnSize(width, height);
    if (m_format.model == ColorModel::Bilevel) {
      TakeBilevel(planes[0], decoded.rows, width, height, outcome);
    } else {
      outcome = MakeRows(planes, decoded.rows, width, height);
    }
    return outcome;
  }

  int RowFor(int coded, int height) const { return m_bottomUp ? height - 1 - coded : coded; }

  void TakeBilevel(SamplePlane& plane, int rows, int width, int height, Outcome& outcome) {
    Bitmap& bitmap = m_picture.bitmap;
    if (!plane.bitmap.Empty()) {
      bitmap = std::move(plane.bitmap);
      if (m_bottomUp) {
        FlipRows(bitmap.TopDownRow(0), static_cast<size_t>(bitmap.BytesPerLine()), height);
      }
      return;
    }
    const int status = bitmap.Create(width, height, 1);
    if (status != K_SUCCESS) {
      outcome = Failure(status);
      return;
    }
    for (int row = 0; row < rows; ++row) {
      CopyBits(plane.data, static_cast<size_t>(row) * plane.rowBits, static_cast<size_t>(width),
               bitmap.TopDownRow(RowFor(row, height)));
    }
  }

  Outcome MakeTarget(int width, int height) {
    if (m_format.model != ColorModel::Cmyk) {
      const int status = m_picture.bitmap.Create(width, height, m_format.Depth(), K_ORDER_RGB);
      return status == K_SUCCESS ? Outcome{} : Failure(status);
    }
    m_picture.inks.width = width;
    m_picture.inks.height = height;
    m_picture.inks.rows.assign(static_cast<size_t>(width) * static_cast<size_t>(height) * 4, 0);
    return {};
  }

  unsigned char* TargetRow(int row) {
    if (!m_picture.HasInks()) return m_picture.bitmap.TopDownRow(row);
    return m_picture.inks.rows.data() +
           static_cast<size_t>(row) * static_cast<size_t>(m_picture.inks.width) * 4;
  }

  Outcome MakeRows(const std::vector<SamplePlane>& planes, int rows, int width, int height) {
    Outcome outcome = MakeTarget(width, height);
    if (!outcome.Ok()) return outcome;
    const size_t components = m_format.Components();
    const size_t each = planes.size() > 1 ? 1 : components;
    std::vector<SampleReader> readers;
    for (size_t band = 0; band < planes.size(); ++band) {
      readers.emplace_back(planes[band], m_format, band, each);
    }
    const bool crFirst = m_format.model == ColorModel::YCrCb;
    const bool chroma = crFirst || m_format.model == ColorModel::YCbCr;
    for (int coded = 0; coded < height; ++coded) {
      unsigned char* row = TargetRow(RowFor(coded, height));
      if (coded >= rows) {
        const auto bytes = static_cast<size_t>(width) * components;
        std::memset(row, m_picture.HasInks() ? 0 : 0xFF, bytes);
        continue;
      }
      for (size_t band = 0; band < readers.size(); ++band) {
        readers[band].ReadRow(coded, width, row + band, components);
      }
      if (chroma) ConvertLumaChroma(row, width, crFirst);
    }
    return outcome;
  }

  const CodedImage& m_image;
  const ImageParameters& m_parameters;
  const CodedOptions& m_options;
  CodedPicture& m_picture;
  bool m_bottomUp;
  SampleFormat m_format;
};

}  // namespace

Outcome DecodeCodedImage(const CodedImage& image, const CodedOptions& options,
                         CodedPicture& picture) {
  picture = {};
  Outcome outcome = Decoder(image, options, picture).Decode();
  if (!outcome.Ok()) picture = {};
  return outcome;
}

Outcome CheckSupported(const CodedImage& image) {
  const uint8_t compression = image.parameters.compression;
  if (compression == coding::kSolidFill) return {};
  if (!IsCodingSupported(compression)) {
    return Failure(K_ERROR_INVALID_FORMAT, CodingName(compression) + " at byte " +
                                               std::to_string(image.at) + " is not supported");
  }
  // The components of JPEG data in one piece are their own.
  if (compression == coding::kJpeg && image.parameters.bandBits.size() < 2) return {};
  SampleFormat format;
  return FindSampleFormat(image.parameters, image.at, format);
}

ImageShape ShapeOfCoded(const CodedImage& image) {
  const ImageParameters& parameters = image.parameters;
  ImageShape shape;
  shape.width = parameters.width;
  shape.height = parameters.height;
  shape.bitsPerPixel = 1;
  SampleFormat format;
  if (FindSampleFormat(parameters, image.at, format).Ok()) shape.bitsPerPixel = format.Depth();
  if (parameters.compression == coding::kSolidFill) shape.bitsPerPixel = 1;
  if (parameters.compression != coding::kJpeg || image.bands.empty()) return shape;
  const bool dealt = image.bands.size() > 1 && !image.bands[0].empty() &&
                     !IsJpeg(image.bands[0].data(), image.bands[0].size());
  JpegFrame frame = {};
  size_t at = 0;
  const JpegSearch found =
      FindJpegFrame(dealt ? GatherDealtBytes(image.bands) : image.bands[0], at, frame);
  if (found != JpegSearch::Found) return shape;
  shape.width = frame.width;
  shape.height = frame.height;
  if (dealt || image.bands.size() == 1) {
    shape.bitsPerPixel = frame.components == 1 ? 8 : frame.components == 4 ? 32 : 24;
  }
  return shape;
}

}  // namespace kz
