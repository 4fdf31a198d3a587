// JPEG data of printing inks, as programs for print take them: four components with an
// Adobe marker, all stored inverted.
#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>

#include <jpeglib.h>

#include "Host/Kernel/Status.h"
#include "Toolkit/Imaging/JpegCodec.h"

namespace kz {

namespace {

constexpr int kInks = 4;

// No object with a destructor lives in what escapes: the vectors are the caller's.
struct InkEncoder {
  jpeg_compress_struct jpeg;
  jpeg_error_mgr errors;
  std::jmp_buf escape;
  unsigned char* data;  // libjpeg's, by malloc
  unsigned long size;
};

[[noreturn]] void OnError(j_common_ptr jpeg) {
  std::longjmp(static_cast<InkEncoder*>(jpeg->client_data)->escape, 1);
}

void EncodeRows(InkEncoder& encoder, const InkPicture& inks, int quality, unsigned char* row) {
  jpeg_compress_struct& jpeg = encoder.jpeg;
  jpeg.image_width = static_cast<JDIMENSION>(inks.width);
  jpeg.image_height = static_cast<JDIMENSION>(inks.height);
  jpeg.input_components = kInks;
  jpeg.in_color_space = JCS_CMYK;
  jpeg_set_defaults(&jpeg);
  jpeg_set_quality(&jpeg, quality, TRUE);
  if (inks.xResolution > 0 && inks.yResolution > 0) {
    constexpr UINT8 kPerInch = 1;
    jpeg.write_JFIF_header = TRUE;
    jpeg.density_unit = kPerInch;
    jpeg.X_density = static_cast<UINT16>(std::min(inks.xResolution, 65535));
    jpeg.Y_density = static_cast<UINT16>(std::min(inks.yResolution, 65535));
  }
  jpeg_start_compress(&jpeg, TRUE);
  if (!inks.profile.empty()) {
    jpeg_write_icc_profile(&jpeg, inks.profile.data(), static_cast<unsigned>(inks.profile.size()));
  }
  const auto rowBytes = static_cast<size_t>(inks.width) * kInks;
  for (const unsigned char* from = inks.rows.data(); jpeg.next_scanline < jpeg.image_height;
       from += rowBytes) {
    std::transform(from, from + rowBytes, row,
                   [](unsigned char ink) { return static_cast<unsigned char>(255 - ink); });
    jpeg_write_scanlines(&jpeg, &row, 1);
  }
  jpeg_finish_compress(&jpeg);
}

bool Encode(InkEncoder& encoder, const InkPicture& inks, int quality, unsigned char* row) {
  encoder.jpeg.err = jpeg_std_error(&encoder.errors);
  encoder.errors.error_exit = OnError;
  encoder.errors.output_message = [](j_common_ptr) {};
  encoder.jpeg.client_data = &encoder;
  const bool done = setjmp(encoder.escape) == 0;
  if (done) {
    jpeg_create_compress(&encoder.jpeg);
    jpeg_mem_dest(&encoder.jpeg, &encoder.data, &encoder.size);
    EncodeRows(encoder, inks, quality, row);
  }
  jpeg_destroy_compress(&encoder.jpeg);
  return done;
}

}  // namespace

Outcome EncodeInks(const InkPicture& inks, int quality, std::vector<unsigned char>& data) {
  const auto rowBytes = static_cast<size_t>(inks.width) * kInks;
  if (inks.width <= 0 || inks.height <= 0 || inks.width > JPEG_MAX_DIMENSION ||
      inks.height > JPEG_MAX_DIMENSION ||
      inks.rows.size() / rowBytes < static_cast<size_t>(inks.height)) {
    return Failure(K_ERROR_INVALID_FORMAT, "the picture has no size that JPEG data can have");
  }
  std::vector<unsigned char> row(rowBytes);
  InkEncoder encoder{};
  const bool done = Encode(encoder, inks, quality, row.data());
  if (done) data.assign(encoder.data, encoder.data + encoder.size);
  std::free(encoder.data);
  return done ? Outcome{} : Failure(K_ERROR_NO_MEMORY);
}

}  // namespace kz
