#include "Tests/Filter/LoadRoads.h"

#include <gtest/gtest.h>

#include "Host/Abic/Abic.h"
#include "Host/Kernel/DllLoader.h"
#include "Host/Kernel/Kernel.h"
#include "Host/Toolkit/MemoryLoader.h"
#include "Host/Toolkit/MemorySaver.h"

namespace {

// The codec's own functions, for making data.
Bytes AbicData(const Bytes& rows, int width, int height, bool bilevel) {
  K_DllLoader loader;
  if (loader.LoadLib(KV_LIBID_ABIC, 0, nullptr) != 1 || loader.AddFunction("K_EncodeABIC") != 1) {
    return {};
  }
  const auto encode = reinterpret_cast<K_EncodeAbicRoutine>(loader.GetFunction("K_EncodeABIC"));
  unsigned char* data = nullptr;
  uint64_t size = 0;
  if (encode(rows.data(), 4, width, height, &data, &size, bilevel ? 1 : 0) != 1) return {};
  const Bytes bytes(data, data + size);
  WinGlobalFree(WinGlobalHandle(data));
  return bytes;
}

// Rows of whole words whose padding is 0.
Bytes PaddedRows(size_t usedBytes, size_t rowBytes, size_t height) {
  Bytes rows;
  for (size_t i = 0; i < height; ++i) {
    Bytes row = Pattern(usedBytes, static_cast<unsigned>(i) + 1);
    row.resize(rowBytes, 0);
    rows = rows + row;
  }
  return rows;
}

Bytes JpegData(int width, int height, int depth) {
  _BITMAPHANDLE bitmap;
  K_CreateBitmap(&bitmap, sizeof bitmap, width, height, depth, K_ORDER_BGR, K_VIEW_TOP_DOWN);
  for (int row = 0; row < height; ++row) {
    const Bytes bytes = Pattern(static_cast<size_t>(width * depth / 8), static_cast<unsigned>(row));
    K_PutBitmapRow(&bitmap, bytes.data(), row, bytes.size());
  }
  HGLOBAL block = nullptr;
  uint64_t size = 0;
  EXPECT_EQ(kz::SaveToMemory(&block, &bitmap, kz::kJpeg444, depth, 20, &size, nullptr), 1);
  const auto* data = static_cast<const unsigned char*>(WinGlobalLock(block));
  const Bytes bytes(data, data + size);
  WinGlobalFree(block);
  K_FreeBitmap(&bitmap);
  return bytes;
}

Bytes Bits(const std::string& bits) {
  Bytes bytes((bits.size() + 7) / 8, 0);
  for (size_t i = 0; i < bits.size(); ++i) {
    if (bits[i] == '1') bytes[i / 8] |= static_cast<unsigned char>(0x80 >> i % 8);
  }
  return bytes;
}

}  // namespace

const std::vector<Road>& Roads() {
  static const std::vector<Road> roads = [] {
    std::vector<Road> all;
    const auto sized = [](unsigned width, unsigned height, unsigned char compression) {
      return ImageSize(width, height) + Encoding(compression);
    };
    all.push_back({"uncompressed", Segment(sized(16, 6, 0x03), Pattern(12), 5), 16, 6, 1,
                   Pattern(12), 2, true});
    // T.6: eight white and eight black pixels in horizontal mode, V0 to the end;
    // five rows of V0; EOFB.
    Bytes picture;
    for (int i = 0; i < 6; ++i) picture = picture + Bytes{0x00, 0xFF, 0x00, 0x00};
    all.push_back({"fax",
                   Segment(sized(32, 6, 0x82), Bits("001"
                                                    "10011"
                                                    "000101"
                                                    "1"
                                                    "111111111111111"
                                                    "000000000001"
                                                    "000000000001")),
                   32, 6, 1, picture, 4, true});
    const Bytes bilevel = PaddedRows(3, 4, 6);
    all.push_back({"ABIC", Segment(sized(24, 6, 0x08), AbicData(bilevel, 24, 6, true)), 24, 6, 1,
                   bilevel, 4, true});
    const Bytes grey = PaddedRows(5, 8, 6);
    all.push_back({"concatenated ABIC", Segment(sized(10, 6, 0x0A), AbicData(grey, 10, 6, false)),
                   10, 6, 4, grey, 8, true});
    for (const int depth : {8, 24}) {
      const Bytes jpeg = JpegData(16, 6, depth);
      const Bytes ide = {0x96, 1, static_cast<unsigned char>(depth)};
      const size_t row = static_cast<size_t>(2 * depth);
      picture.clear();
      _BITMAPHANDLE bitmap;
      EXPECT_EQ(kz::LoadMemory(Bytes(jpeg).data(), &bitmap, sizeof bitmap, depth, K_ORDER_BGR,
                               jpeg.size(), nullptr, nullptr),
                1);
      for (int i = 0; i < 6; ++i) {
        Bytes bytes(row);
        K_GetBitmapRow(&bitmap, bytes.data(), i, row);
        picture = picture + bytes;
      }
      K_FreeBitmap(&bitmap);
      all.push_back({depth == 8 ? "grey JPEG" : "colour JPEG",
                     Segment(sized(16, 6, 0x83) + ide, jpeg, 100), 16, 6, depth, picture, row,
                     false});
    }
    return all;
  }();
  return roads;
}
