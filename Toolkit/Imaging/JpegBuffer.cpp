#include "Toolkit/Imaging/JpegBuffer.h"

// It lists what jpeglib.h declares.
#include <jerror.h>

#include "Host/Kernel/Kernel.h"

namespace kz {

namespace {

constexpr const char* kSource = "Toolkit/Imaging/JpegBuffer";
constexpr size_t kFirstBytes = size_t{64} * 1024;

JpegBuffer& BufferOf(j_compress_ptr jpeg) { return *reinterpret_cast<JpegBuffer*>(jpeg->dest); }

void OfferRoom(j_compress_ptr jpeg, size_t used, size_t capacity) {
  JpegBuffer& buffer = BufferOf(jpeg);
  void* larger = K_LocalRealloc(buffer.bytes, capacity, __LINE__, kSource);
  if (larger == nullptr) {
    jpeg->err->msg_code = JERR_OUT_OF_MEMORY;
    jpeg->err->error_exit(reinterpret_cast<j_common_ptr>(jpeg));
  }
  buffer.bytes = static_cast<unsigned char*>(larger);
  buffer.capacity = capacity;
  buffer.destination.next_output_byte = buffer.bytes + used;
  buffer.destination.free_in_buffer = capacity - used;
}

}  // namespace

void WriteToBuffer(jpeg_compress_struct& jpeg, JpegBuffer& buffer) {
  buffer.destination.init_destination = [](j_compress_ptr full) {
    OfferRoom(full, 0, kFirstBytes);
  };
  buffer.destination.empty_output_buffer = [](j_compress_ptr full) -> boolean {
    const size_t capacity = BufferOf(full).capacity;
    OfferRoom(full, capacity, capacity * 2);
    return TRUE;
  };
  buffer.destination.term_destination = [](j_compress_ptr done) {
    JpegBuffer& whole = BufferOf(done);
    whole.size = whole.capacity - done->dest->free_in_buffer;
  };
  jpeg.dest = &buffer.destination;
}

}  // namespace kz
