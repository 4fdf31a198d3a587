#include "Toolkit/Imaging/JpegSource.h"

#include <algorithm>
#include <cstring>

// It lists what jpeglib.h declares.
#include <jerror.h>

#include "Host/Kernel/Status.h"

namespace kz {

namespace {

// One byte of Huffman-coded data holds at most four blocks of 64 pixels, subsampled
// chroma included: what declares much more can't have the data for it.
constexpr uint64_t kMaxPixelsPerByte = 4096;
// A scan of a few bytes makes the decoder walk through the whole picture.
constexpr int kMaxScans = 100;

JpegSource& SourceOf(j_common_ptr jpeg) { return *static_cast<JpegSource*>(jpeg->client_data); }

[[noreturn]] void OnError(j_common_ptr jpeg) {
  JpegSource& source = SourceOf(jpeg);
  jpeg->err->format_message(jpeg, source.message);
  if (jpeg->err->msg_code == JERR_OUT_OF_MEMORY) Escape(source, K_ERROR_NO_MEMORY);
  Escape(source, source.ended ? K_ERROR_READ : K_ERROR_INVALID_FORMAT);
}

void OnMessage(j_common_ptr jpeg, int level) {
  if (level >= 0) return;
  JpegSource& source = SourceOf(jpeg);
  source.damaged = true;
  // Without this the decoder would fill the rest of the picture with grey.
  if (source.ended && jpeg->err->msg_code == JWRN_HIT_MARKER) Escape(source, K_ERROR_READ);
}

void OnProgress(j_common_ptr jpeg) {
  JpegSource& source = SourceOf(jpeg);
  if (source.jpeg.input_scan_number <= kMaxScans) return;
  (void)std::snprintf(source.message, sizeof(source.message), "more than %d scans", kMaxScans);
  Escape(source, K_ERROR_INVALID_FORMAT);
}

boolean FillBuffer(j_decompress_ptr jpeg) {
  static const JOCTET kEndOfImage[] = {0xFF, JPEG_EOI};
  SourceOf(reinterpret_cast<j_common_ptr>(jpeg)).ended = true;
  jpeg->src->next_input_byte = kEndOfImage;
  jpeg->src->bytes_in_buffer = sizeof(kEndOfImage);
  return TRUE;
}

void SkipBytes(j_decompress_ptr jpeg, long count) {
  if (count <= 0) return;
  if (static_cast<size_t>(count) > jpeg->src->bytes_in_buffer) {
    FillBuffer(jpeg);
    return;
  }
  jpeg->src->next_input_byte += count;
  jpeg->src->bytes_in_buffer -= static_cast<size_t>(count);
}

}  // namespace

void Escape(JpegSource& source, int status) {
  source.status = status;
  std::longjmp(source.escape, 1);
}

void Prepare(JpegSource& source, const unsigned char* data, size_t size, int64_t maxPixels) {
  // cppcheck-suppress memsetClass ; std::jmp_buf is a plain C array
  std::memset(&source, 0, sizeof(source));
  source.data = data;
  source.size = size;
  source.maxPixels = static_cast<uint64_t>(std::max<int64_t>(maxPixels, 0));
}

void SetUp(JpegSource& source) {
  source.jpeg.err = jpeg_std_error(&source.errors);
  source.errors.error_exit = OnError;
  source.errors.emit_message = OnMessage;
  source.jpeg.client_data = &source;
  jpeg_create_decompress(&source.jpeg);
  source.progress.progress_monitor = OnProgress;
  source.jpeg.progress = &source.progress;
  source.source.init_source = [](j_decompress_ptr) {};
  source.source.term_source = [](j_decompress_ptr) {};
  source.source.fill_input_buffer = FillBuffer;
  source.source.skip_input_data = SkipBytes;
  source.source.resync_to_restart = jpeg_resync_to_restart;
  source.source.next_input_byte = source.data;
  source.source.bytes_in_buffer = source.size;
  source.jpeg.src = &source.source;
}

void CheckSize(JpegSource& source) {
  const jpeg_decompress_struct& jpeg = source.jpeg;
  const uint64_t pixels = uint64_t{jpeg.image_width} * jpeg.image_height;
  if (pixels > source.size * kMaxPixelsPerByte) {
    (void)std::snprintf(source.message, sizeof(source.message),
                        "%u x %u pixels are too many for so few data", jpeg.image_width,
                        jpeg.image_height);
  } else if (pixels > source.maxPixels) {
    (void)std::snprintf(source.message, sizeof(source.message),
                        "the picture of %u x %u pixels is above the limit of %llu pixels",
                        jpeg.image_width, jpeg.image_height,
                        static_cast<unsigned long long>(source.maxPixels));
  } else {
    return;
  }
  Escape(source, K_ERROR_INVALID_FORMAT);
}

}  // namespace kz
