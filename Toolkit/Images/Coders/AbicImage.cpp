#include "Toolkit/Images/Coders/AbicImage.h"

#include <climits>
#include <cstring>

#include "Host/Abic/Abic.h"
#include "Host/Kernel/DllLoader.h"
#include "Host/Kernel/Kernel.h"

namespace kz {

namespace {

// Alignment of the codec's rows, which is that of a bitmap's.
constexpr int kRowAlignment = 4;

// Loaded once: the library stays.
K_DecodeAbicRoutine FindDecoder() {
  static const auto decoder = [] {
    static K_DllLoader loader;
    if (loader.LoadLib(KV_LIBID_ABIC, 0, nullptr) == 0) return static_cast<void*>(nullptr);
    loader.AddFunction("K_DecodeABIC");
    return loader.GetFunction("K_DecodeABIC");
  }();
  return reinterpret_cast<K_DecodeAbicRoutine>(decoder);
}

}  // namespace

CodedRows DecodeAbicImage(CodedBytes data, int width, int height, int bits, Bitmap& bitmap) {
  CodedRows result;
  const K_DecodeAbicRoutine decode = FindDecoder();
  if (decode == nullptr) {
    result.status = K_ERROR_NO_ABIC_DECODER;
    return result;
  }
  if (data.size() > UINT_MAX) {
    result.status = K_ERROR_INVALID_FORMAT;
    return result;
  }
  unsigned char* rows = nullptr;
  result.status = decode(data.data(), static_cast<unsigned>(data.size()), &rows, kRowAlignment,
                         width, height, bits == 1 ? 1 : 0);
  if (result.status != K_SUCCESS) return result;
  result.status = bitmap.Create(width, height, bits);
  if (result.status == K_SUCCESS) {
    const auto stride = static_cast<size_t>(bitmap.BytesPerLine());
    for (int row = 0; row < height; ++row) {
      std::memcpy(bitmap.TopDownRow(row), rows + static_cast<size_t>(row) * stride, stride);
    }
    result.rows = height;
  }
  WinGlobalFree(WinGlobalHandle(rows));
  return result;
}

}  // namespace kz
