// JPEG pictures turned upside down without being decoded.
#include <cstring>

#include "Host/Kernel/Kernel.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Imaging/JpegBuffer.h"
#include "Toolkit/Imaging/JpegCodec.h"
#include "Toolkit/Imaging/JpegSource.h"

namespace kz {

namespace {

struct Target {
  jpeg_compress_struct jpeg;
  JpegBuffer buffer;
};

// Rows of blocks change places only where all are whole: what fills up the last
// would come to stand in the midst of the picture, or on top.
bool HasWholeBlocks(const jpeg_decompress_struct& jpeg) {
  for (int i = 0; i < jpeg.num_components; ++i) {
    const jpeg_component_info& component = jpeg.comp_info[i];
    if (uint64_t{component.height_in_blocks} * DCTSIZE *
            static_cast<uint64_t>(jpeg.max_v_samp_factor) !=
        uint64_t{jpeg.image_height} * static_cast<uint64_t>(component.v_samp_factor)) {
      return false;
    }
  }
  return true;
}

// Mirrors a row of blocks: every second row of frequencies changes its sign.
void FlipBlocks(JBLOCKROW blocks, JDIMENSION count) {
  for (JDIMENSION i = 0; i < count; ++i) {
    for (int k = 0; k < DCTSIZE2; ++k) {
      if (k / DCTSIZE % 2 == 1) blocks[i][k] = static_cast<JCOEF>(-blocks[i][k]);
    }
  }
}

void FlipComponent(JpegSource& source, const jpeg_component_info& component,
                   jvirt_barray_ptr coefficients) {
  const auto common = reinterpret_cast<j_common_ptr>(&source.jpeg);
  const jpeg_memory_mgr& memory = *source.jpeg.mem;
  const JDIMENSION width = component.width_in_blocks;
  const size_t bytes = width * sizeof(JBLOCK);
  auto* upper = static_cast<JBLOCKROW>(memory.alloc_large(common, JPOOL_IMAGE, bytes));
  const auto row = [&](JDIMENSION y) {
    return *memory.access_virt_barray(common, coefficients, y, 1, TRUE);
  };
  JDIMENSION top = 0, bottom = component.height_in_blocks - 1;
  for (; top < bottom; ++top, --bottom) {
    std::memcpy(upper, row(top), bytes);
    std::memcpy(row(top), row(bottom), bytes);
    std::memcpy(row(bottom), upper, bytes);
    FlipBlocks(row(top), width);
    FlipBlocks(row(bottom), width);
  }
  if (top == bottom) FlipBlocks(row(top), width);
}

// What may escape. No object with a destructor lives in here.
void Flip(JpegSource& source, Target& target, bool& whole) {
  constexpr int kMarkers = 16;
  constexpr unsigned kAllBytes = 0xFFFF;
  for (int i = 0; i < kMarkers; ++i) jpeg_save_markers(&source.jpeg, JPEG_APP0 + i, kAllBytes);
  jpeg_save_markers(&source.jpeg, JPEG_COM, kAllBytes);
  jpeg_read_header(&source.jpeg, TRUE);
  CheckSize(source);
  jvirt_barray_ptr* coefficients = jpeg_read_coefficients(&source.jpeg);
  whole = HasWholeBlocks(source.jpeg);
  if (!whole) return;
  for (int i = 0; i < source.jpeg.num_components; ++i) {
    FlipComponent(source, source.jpeg.comp_info[i], coefficients[i]);
  }
  WriteToBuffer(target.jpeg, target.buffer);
  jpeg_copy_critical_parameters(&source.jpeg, &target.jpeg);
  target.jpeg.optimize_coding = TRUE;
  jpeg_write_coefficients(&target.jpeg, coefficients);
  for (jpeg_saved_marker_ptr marker = source.jpeg.marker_list; marker != nullptr;
       marker = marker->next) {
    const int kind = marker->marker;
    const bool written = (kind == JPEG_APP0 && target.jpeg.write_JFIF_header == TRUE) ||
                         (kind == JPEG_APP0 + 14 && target.jpeg.write_Adobe_marker == TRUE);
    if (!written) jpeg_write_marker(&target.jpeg, kind, marker->data, marker->data_length);
  }
  jpeg_finish_compress(&target.jpeg);
  source.status = K_SUCCESS;
}

void FlipGuarded(JpegSource& source, Target& target, bool& whole) {
  if (setjmp(source.escape) == 0) {
    SetUp(source);
    // Both sides leave in the same way.
    target.jpeg.err = &source.errors;
    target.jpeg.client_data = &source;
    jpeg_create_compress(&target.jpeg);
    Flip(source, target, whole);
  }
  jpeg_destroy_compress(&target.jpeg);
  jpeg_destroy_decompress(&source.jpeg);
}

}  // namespace

Outcome FlipJpeg(std::vector<unsigned char>& data, int64_t maxPixels, bool& flipped) {
  flipped = false;
  JpegSource source;
  Prepare(source, data.data(), data.size(), maxPixels);
  Target target{};
  bool whole = false;
  FlipGuarded(source, target, whole);
  Outcome outcome;
  if (source.status < 0) {
    outcome = Failure(source.status, source.message);
  } else if (whole && !source.damaged) {
    data.assign(target.buffer.bytes, target.buffer.bytes + target.buffer.size);
    flipped = true;
  }
  K_LocalFree(target.buffer.bytes, __LINE__, "Toolkit/Imaging/JpegFlip");
  return outcome;
}

}  // namespace kz
