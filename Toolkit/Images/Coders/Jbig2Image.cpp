#include "Toolkit/Images/Coders/Jbig2Image.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>

extern "C" {
#include <jbig2.h>
}

namespace kz {

namespace {

constexpr unsigned char kFileHeader[] = {0x97, 'J', 'B', '2', 0x0D, 0x0A, 0x1A, 0x0A};

// Memory for one decoding. All that was ever asked for counts: a region's cost in time
// goes with the bitmap that it takes.
struct Budget {
  Jbig2Allocator allocator;  // first: the library hands it back
  size_t left;

  static Budget& Of(Jbig2Allocator* allocator) { return *reinterpret_cast<Budget*>(allocator); }
  bool Take(size_t size) {
    if (size > left) return false;
    left -= size;
    return true;
  }
  static void* Allocate(Jbig2Allocator* allocator, size_t size) {
    return Of(allocator).Take(size) ? std::malloc(size) : nullptr;
  }
  static void Free(Jbig2Allocator*, void* block) { std::free(block); }
  static void* Reallocate(Jbig2Allocator* allocator, void* block, size_t size) {
    return Of(allocator).Take(size) ? std::realloc(block, size) : nullptr;
  }
};

void TakeMessage(void* damaged, const char*, Jbig2Severity severity, uint32_t) {
  if (severity >= JBIG2_SEVERITY_WARNING) *static_cast<bool*>(damaged) = true;
}

int CopyPage(const Jbig2Image& page, int64_t maxPixels, Bitmap& bitmap) {
  if (!CheckPictureSize(page.width, page.height, 1, maxPixels).Ok()) return K_ERROR_INVALID_FORMAT;
  const int status = bitmap.Create(static_cast<int>(page.width), static_cast<int>(page.height), 1);
  if (status != K_SUCCESS) return status;
  const size_t bytes = (size_t{page.width} + 7) / 8;
  const auto lastByte = static_cast<unsigned char>(0xFF << (bytes * 8 - page.width));
  for (int row = 0; row < bitmap.Height(); ++row) {
    unsigned char* to = bitmap.TopDownRow(row);
    std::memcpy(to, page.data + static_cast<size_t>(row) * page.stride, bytes);
    to[bytes - 1] &= lastByte;
  }
  return K_SUCCESS;
}

}  // namespace

CodedRows DecodeJbig2Image(CodedBytes data, int64_t maxPixels, Bitmap& bitmap) {
  CodedRows result;
  result.status = K_ERROR_NO_MEMORY;
  // The page, a few regions as large, and tables.
  constexpr size_t kTables = size_t{64} << 20;
  const auto pixels = static_cast<size_t>(std::clamp<int64_t>(maxPixels, 0, kDefaultMaxPixels));
  Budget budget = {{Budget::Allocate, Budget::Free, Budget::Reallocate},
                   kTables + data.size() * 16 + pixels};
  const bool isFile =
      data.size() >= sizeof(kFileHeader) && data[0] == kFileHeader[0] && data[4] == kFileHeader[4];
  Jbig2Ctx* context =
      jbig2_ctx_new(&budget.allocator, isFile ? Jbig2Options{} : JBIG2_OPTIONS_EMBEDDED, nullptr,
                    TakeMessage, &result.damaged);
  if (context == nullptr) return result;
  if (jbig2_data_in(context, data.data(), data.size()) < 0) result.damaged = true;
  // A stream may lack the segment that ends the page. Others complain of a second end.
  Jbig2Image* page = jbig2_page_out(context);
  if (page == nullptr && jbig2_complete_page(context) == 0) page = jbig2_page_out(context);
  result.status = page == nullptr ? K_ERROR_READ : CopyPage(*page, maxPixels, bitmap);
  if (page != nullptr) jbig2_release_page(context, page);
  jbig2_ctx_free(context);
  if (result.status == K_SUCCESS) result.rows = bitmap.Height();
  return result;
}

}  // namespace kz
