#include "Toolkit/Images/Passing/PassedJpeg.h"

#include "Toolkit/Imaging/JpegSource.h"

namespace kz {

namespace {

constexpr int kProfileMarker = JPEG_APP0 + 2;

bool IsPlain(const jpeg_decompress_struct& jpeg) {
  if (jpeg.arith_code != FALSE || jpeg.data_precision != 8) return false;
  switch (jpeg.jpeg_color_space) {
    case JCS_GRAYSCALE:
    case JCS_RGB:
    case JCS_CMYK:
    case JCS_YCCK:
      return true;
    case JCS_YCbCr:
      // A JFIF header says YCbCr, whatever another marker has.
      return jpeg.saw_Adobe_marker == FALSE || jpeg.Adobe_transform == 1;
    default:
      return false;
  }
}

// What may escape.
void ReadMarks(JpegSource& source, JpegMarks& marks) {
  jpeg_decompress_struct& jpeg = source.jpeg;
  jpeg_save_markers(&jpeg, kProfileMarker, 14);
  jpeg_read_header(&jpeg, TRUE);
  CheckSize(source);
  marks.width = static_cast<int>(jpeg.image_width);
  marks.height = static_cast<int>(jpeg.image_height);
  marks.components = jpeg.num_components;
  marks.adobe = jpeg.saw_Adobe_marker != FALSE;
  marks.hasProfile = jpeg.marker_list != nullptr;
  marks.plain = IsPlain(jpeg);
  if (jpeg.saw_JFIF_marker == FALSE || jpeg.density_unit < 1 || jpeg.density_unit > 2) return;
  const auto perInch = [&](int density) {
    return jpeg.density_unit == 1 ? density : (density * 254 + 50) / 100;
  };
  marks.xResolution = perInch(jpeg.X_density);
  marks.yResolution = perInch(jpeg.Y_density);
}

// What may escape.
void DecodeRows(JpegSource& source) {
  jpeg_decompress_struct& jpeg = source.jpeg;
  jpeg_read_header(&jpeg, TRUE);
  CheckSize(source);
  // All codes are read, and of each block one sample is made: what they stand for can't be wrong.
  jpeg.out_color_space = jpeg.jpeg_color_space;
  jpeg.do_fancy_upsampling = FALSE;
  jpeg.scale_num = 1;
  jpeg.scale_denom = DCTSIZE;
  jpeg_start_decompress(&jpeg);
  JSAMPARRAY row = jpeg.mem->alloc_sarray(
      reinterpret_cast<j_common_ptr>(&jpeg), JPOOL_IMAGE,
      jpeg.output_width * static_cast<JDIMENSION>(jpeg.output_components), 1);
  while (jpeg.output_scanline < jpeg.output_height) jpeg_read_scanlines(&jpeg, row, 1);
}

template <typename Read>
bool Run(CodedBytes data, int64_t maxPixels, Read read) {
  JpegSource source;
  Prepare(source, data.data(), data.size(), maxPixels);
  if (setjmp(source.escape) == 0) {
    SetUp(source);
    read(source);
  }
  jpeg_destroy_decompress(&source.jpeg);
  // Prepare leaves 0 there, and a failure another value.
  return source.status == 0 && !source.damaged;
}

}  // namespace

bool ReadJpegMarks(CodedBytes data, int64_t maxPixels, JpegMarks& marks) {
  marks = {};
  return Run(data, maxPixels, [&](JpegSource& source) { ReadMarks(source, marks); });
}

bool IsWholeJpeg(CodedBytes data, int64_t maxPixels) { return Run(data, maxPixels, DecodeRows); }

}  // namespace kz
