#include "Tests/API/LoadPaths.h"

#include <gtest/gtest.h>

#include "Host/Abic/Abic.h"
#include "Host/Kernel/DllLoader.h"
#include "Host/Kernel/Kernel.h"
#include "Toolkit/Imaging/MemoryLoader.h"
#include "Toolkit/Imaging/MemorySaver.h"

namespace {

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

// Zeros and ones as bytes; blanks are passed over.
Bytes Bits(std::string bits) {
  std::erase(bits, ' ');
  Bytes bytes((bits.size() + 7) / 8, 0);
  for (size_t i = 0; i < bits.size(); ++i) {
    if (bits[i] == '1') bytes[i / 8] |= static_cast<unsigned char>(0x80 >> i % 8);
  }
  return bytes;
}

// The code string that the codec library makes of rows padded to four bytes.
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

}  // namespace

const std::vector<Path>& Paths() {
  static const std::vector<Path> paths = [] {
    std::vector<Path> all;
    const auto sized = [](unsigned width, unsigned height, unsigned char compression) {
      return ImageSize(width, height) + Encoding(compression);
    };
    all.push_back({"uncompressed", Segment(sized(16, 6, 0x03), Pattern(12), 5), 16, 6, 1,
                   Pattern(12), 2, true});
    // Lines of eight white, eight black and sixteen white pixels: the first with its
    // runs, the two-dimensional ones below it with V0 three times.
    const std::string runs = "10011 000101 101010", same = "111", eol = "000000000001";
    const std::string below = same + same + same + same + same;
    std::string group3 = eol + runs, group32D = eol + "1" + runs;
    Bytes picture = {0x00, 0xFF, 0x00, 0x00};
    for (int i = 1; i < 6; ++i) {
      group3 += eol + runs;
      group32D += eol + "0" + same;
      picture = picture + Slice(picture, 0, 4);
    }
    const struct {
      const char* name;
      unsigned char compression;
      std::string code;
    } faxes[] = {{"G3", 0x80, group3},
                 {"G3 2D", 0x81, group32D},
                 {"G4", 0x82, "001 10011 000101 1" + below + eol + eol},
                 {"IBM MMR", 0x01, runs + eol + "0" + below}};
    // Lines of a whole number of bytes in a picture that says three pixels less: the
    // white at their end is a run of 16.
    const std::string whole = "001 10011 000101 001 101010 0000110111" + below + eol + eol;
    all.push_back(
        {"G4 in bytes", Segment(sized(29, 6, 0x82), Bits(whole)), 29, 6, 1, picture, 4, false});
    for (const auto& fax : faxes) {
      all.push_back({fax.name, Segment(sized(32, 6, fax.compression), Bits(fax.code)), 32, 6, 1,
                     picture, 4, true});
    }
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
  return paths;
}
