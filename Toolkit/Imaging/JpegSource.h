// JPEG data that libjpeg-turbo reads, with limits on what they may cost and a way
// out of its errors.
#pragma once

#include <csetjmp>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include <jpeglib.h>

namespace kz {

// Must not move once it is set up.
struct JpegSource {
  jpeg_decompress_struct jpeg;
  jpeg_error_mgr errors;
  jpeg_source_mgr source;
  jpeg_progress_mgr progress;
  std::jmp_buf escape;
  const unsigned char* data;
  size_t size;
  uint64_t maxPixels;
  int status;
  bool ended;  // the decoder asked for more than there is
  bool damaged;
  char message[JMSG_LENGTH_MAX];
};

// Clears the source and says what it reads.
void Prepare(JpegSource& source, const unsigned char* data, size_t size, int64_t maxPixels);
// Begins reading. Errors go to `escape` from here on; whoever set that destroys the
// decompressor.
void SetUp(JpegSource& source);
// Leaves with a status.
[[noreturn]] void Escape(JpegSource& source, int status);
// Leaves with -9 when the picture has more pixels than it may, or than so few data
// can hold.
void CheckSize(JpegSource& source);

}  // namespace kz
