#include "Toolkit/Images/Coders/JpegImage.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

// It lists what jpeglib.h declares.
#include <jerror.h>

#include "Toolkit/Imaging/JpegSource.h"

namespace kz {

namespace {

// Notes damage and goes on: of data in several scans, all of them cover the picture.
void OnMessage(j_common_ptr jpeg, int level) {
  if (level < 0) static_cast<JpegSource*>(jpeg->client_data)->damaged = true;
}

// One decoding. What may escape stands in routines without objects that have a
// destructor.
class Decoding {
 public:
  Decoding(CodedBytes data, int64_t maxPixels) {
    Prepare(m_source, data.data(), data.size(), maxPixels);
  }
  ~Decoding() {
    if (m_source.jpeg.err != nullptr) jpeg_destroy_decompress(&m_source.jpeg);
  }
  Decoding(const Decoding&) = delete;
  Decoding& operator=(const Decoding&) = delete;

  bool ReadHeader(const JpegImageOptions& options) {
    if (setjmp(m_source.escape) != 0) return false;
    jpeg_decompress_struct& jpeg = m_source.jpeg;
    SetUp(m_source);
    jpeg_save_markers(&jpeg, JPEG_APP0 + 2, 0xFFFF);
    jpeg_read_header(&jpeg, TRUE);
    if (jpeg.num_components != 1 && jpeg.num_components != 3 && jpeg.num_components != 4) {
      Escape(m_source, K_ERROR_INVALID_FORMAT);
    }
    CheckSize(m_source);
    if (jpeg.progressive_mode != 0 || options.cutEnd) m_source.errors.emit_message = OnMessage;
    const bool gray = jpeg.num_components == 1 || (options.grayOnly && jpeg.num_components == 3);
    jpeg.out_color_space = gray ? JCS_GRAYSCALE : jpeg.num_components == 3 ? JCS_EXT_RGB : JCS_CMYK;
    return true;
  }

  // Decodes into rows, `stride` bytes from one to the next.
  void ReadRows(unsigned char* rows, size_t stride) {
    if (setjmp(m_source.escape) != 0) return;
    jpeg_decompress_struct& jpeg = m_source.jpeg;
    jpeg_start_decompress(&jpeg);
    while (jpeg.output_scanline < jpeg.output_height) {
      unsigned char* row = rows + size_t{jpeg.output_scanline} * stride;
      jpeg_read_scanlines(&jpeg, &row, 1);
    }
    // What follows the last row can't change the picture: nobody looks for its end.
  }

  std::vector<unsigned char> Profile() {
    JOCTET* bytes = nullptr;
    unsigned size = 0;
    if (!FindProfile(bytes, size)) return {};
    std::vector<unsigned char> profile(bytes, bytes + size);
    std::free(bytes);
    return profile;
  }

  const jpeg_decompress_struct& Jpeg() const { return m_source.jpeg; }
  int Width() const { return static_cast<int>(m_source.jpeg.image_width); }
  int Height() const { return static_cast<int>(m_source.jpeg.image_height); }

  CodedRows Result() const {
    CodedRows result;
    if (m_source.status != 0) result.status = m_source.status;
    // What fails before it starts has decoded no row, whatever the record holds.
    result.rows =
        static_cast<int>(std::min(m_source.jpeg.output_scanline, m_source.jpeg.image_height));
    result.damaged = m_source.damaged;
    result.what = m_source.message;
    return result;
  }

 private:
  bool FindProfile(JOCTET*& bytes, unsigned& size) {
    if (setjmp(m_source.escape) != 0) return false;
    return jpeg_read_icc_profile(&m_source.jpeg, &bytes, &size) != 0;
  }

  JpegSource m_source;
};

CodedRows Fault(int status) {
  CodedRows result;
  result.status = status;
  return result;
}

CodedRows DecodeInks(Decoding& decoding, InkPicture& inks) {
  const auto stride = static_cast<size_t>(decoding.Width()) * 4;
  const auto height = static_cast<size_t>(decoding.Height());
  if (height > static_cast<size_t>(kMaxPictureBytes) / stride) {
    return Fault(K_ERROR_INVALID_FORMAT);
  }
  inks.width = decoding.Width();
  inks.height = decoding.Height();
  inks.rows.assign(stride * height, 0);
  inks.profile = decoding.Profile();
  decoding.ReadRows(inks.rows.data(), stride);
  CodedRows result = decoding.Result();
  const auto end = inks.rows.begin() + result.rows * static_cast<ptrdiff_t>(stride);
  // With an Adobe marker all four are stored inverted.
  if (decoding.Jpeg().saw_Adobe_marker != 0) {
    std::transform(inks.rows.begin(), end, inks.rows.begin(),
                   [](unsigned char ink) { return static_cast<unsigned char>(255 - ink); });
  }
  std::fill(end, inks.rows.end(), static_cast<unsigned char>(0));
  return result;
}

CodedRows DecodeLight(Decoding& decoding, Bitmap& bitmap) {
  const int depth = decoding.Jpeg().out_color_space == JCS_GRAYSCALE ? 8 : 24;
  const int status = bitmap.Create(decoding.Width(), decoding.Height(), depth, K_ORDER_RGB);
  if (status != K_SUCCESS) return Fault(status);
  const auto stride = static_cast<size_t>(bitmap.BytesPerLine());
  decoding.ReadRows(bitmap.TopDownRow(0), stride);
  CodedRows result = decoding.Result();
  for (int row = result.rows; row < bitmap.Height(); ++row) {
    std::memset(bitmap.TopDownRow(row), 0xFF, stride);
  }
  const jpeg_decompress_struct& jpeg = decoding.Jpeg();
  if (jpeg.saw_JFIF_marker != 0 && (jpeg.density_unit == 1 || jpeg.density_unit == 2)) {
    const auto perInch = [&](int density) {
      return jpeg.density_unit == 1 ? density : (density * 254 + 50) / 100;
    };
    bitmap.SetResolution(perInch(jpeg.X_density), perInch(jpeg.Y_density));
  }
  return result;
}

}  // namespace

CodedRows DecodeJpegImage(CodedBytes data, const JpegImageOptions& options, Bitmap& bitmap,
                          InkPicture& inks) {
  bitmap.Reset();
  Decoding decoding(data, options.maxPixels);
  CodedRows result;
  if (!decoding.ReadHeader(options)) {
    result = decoding.Result();
    result.rows = 0;
    return result;
  }
  result = decoding.Jpeg().out_color_space == JCS_CMYK ? DecodeInks(decoding, inks)
                                                       : DecodeLight(decoding, bitmap);
  if (result.rows == 0) {
    if (result.status == K_SUCCESS) result.status = K_ERROR_READ;
    bitmap.Reset();
    inks = {};
  }
  return result;
}

std::vector<unsigned char> GatherDealtBytes(const std::vector<std::vector<unsigned char>>& bands) {
  size_t longest = 0;
  size_t total = 0;
  for (const auto& band : bands) {
    longest = std::max(longest, band.size());
    total += band.size();
  }
  std::vector<unsigned char> data;
  data.reserve(total);
  for (size_t i = 0; i < longest; ++i) {
    for (const auto& band : bands) {
      if (i < band.size()) data.push_back(band[i]);
    }
  }
  return data;
}

}  // namespace kz
