// Memory that libjpeg-turbo writes JPEG data into.
#pragma once

#include <cstddef>
#include <cstdio>

#include <jpeglib.h>

namespace kz {

// All zero before it is used.
struct JpegBuffer {
  jpeg_destination_mgr destination;  // first: libjpeg hands it back
  unsigned char* bytes;              // a block of K_LocalAlloc; whoever has the buffer frees it
  size_t capacity;
  size_t size;  // of the complete data
};

// Lets a compressor write into the buffer. It leaves by the compressor's error_exit
// when there is no memory.
void WriteToBuffer(jpeg_compress_struct& jpeg, JpegBuffer& buffer);

}  // namespace kz
