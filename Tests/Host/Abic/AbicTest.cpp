#include "Host/Abic/Abic.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "Host/Kernel/DllLoader.h"
#include "Host/Kernel/Kernel.h"
#include "Host/Kernel/KernelTesting.h"

namespace {

using Bytes = std::vector<unsigned char>;

struct Image {
  int width;
  int height;
  int depth;
  Bytes rows;

  int BytesPerRow() const { return K_BitmapBytesPerLine(width, depth); }
  size_t Place(int x, int y) const {
    return static_cast<size_t>(BytesPerRow()) * static_cast<size_t>(y) +
           static_cast<size_t>(x * depth) / 8;
  }
  int Shift(int x) const { return 8 - depth - x * depth % 8; }
  int Mask() const { return (1 << depth) - 1; }
  int Pixel(int x, int y) const { return rows[Place(x, y)] >> Shift(x) & Mask(); }
  void SetPixel(int x, int y, int value) {
    unsigned char& byte = rows[Place(x, y)];
    byte = static_cast<unsigned char>((byte & ~(Mask() << Shift(x))) | value << Shift(x));
  }
  void FillPadding(int value) {
    const int pixelsPerRow = BytesPerRow() * 8 / depth;
    for (int y = 0; y < height; ++y) {
      for (int x = width; x < pixelsPerRow; ++x) SetPixel(x, y, value);
    }
  }
};

Image MakeImage(int width, int height, int depth) {
  Image image{width, height, depth, {}};
  image.rows.resize(static_cast<size_t>(image.BytesPerRow()) * static_cast<size_t>(height));
  return image;
}

enum class Kind { Zeros, Ones, Noise, Sparse, Runs };

Image Draw(Kind kind, int width, int height, int depth, unsigned seed) {
  Image image = MakeImage(width, height, depth);
  std::mt19937 random(seed);
  int value = 0;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const int any = static_cast<int>(random() & ((1U << depth) - 1));
      if (kind == Kind::Ones) value = (1 << depth) - 1;
      if (kind == Kind::Noise) value = any;
      if (kind == Kind::Sparse) value = random() % 200 == 0 ? any : 0;
      if (kind == Kind::Runs && random() % 90 == 0) value = any;
      image.SetPixel(x, y, value);
    }
  }
  return image;
}

class Abic : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(m_loader.LoadLib(KV_LIBID_ABIC, 0, nullptr), 1);
    ASSERT_EQ(m_loader.AddFunction("K_DecodeABIC"), 1);
    ASSERT_EQ(m_loader.AddFunction("K_EncodeABIC"), 1);
    m_decode = reinterpret_cast<K_DecodeAbicRoutine>(m_loader.GetFunction("K_DecodeABIC"));
    m_encode = reinterpret_cast<K_EncodeAbicRoutine>(m_loader.GetFunction("K_EncodeABIC"));
    m_liveBlocks = K_LiveBlocks();
  }
  void TearDown() override { EXPECT_EQ(K_LiveBlocks(), m_liveBlocks); }

  int Encode(const Image& image, Bytes& code) {
    unsigned char* data = m_untouched;
    uint64_t size = 4711;
    const int status = m_encode(image.rows.data(), 4, image.width, image.height, &data, &size,
                                image.depth == 1 ? 1 : 0);
    if (status == 1) {
      EXPECT_EQ(WinGlobalSize(WinGlobalHandle(data)), size);
      code.assign(data, data + size);
      WinGlobalFree(WinGlobalHandle(data));
    } else {
      EXPECT_EQ(data, m_untouched);
      EXPECT_EQ(size, 4711U);
    }
    return status;
  }

  // Sets the rows of an image whose size is given.
  int Decode(const Bytes& code, Image& image) {
    unsigned char* rows = m_untouched;
    const int status = m_decode(code.data(), static_cast<unsigned>(code.size()), &rows, 4,
                                image.width, image.height, image.depth == 1 ? 1 : 0);
    if (status == 1) {
      EXPECT_EQ(WinGlobalSize(WinGlobalHandle(rows)), image.rows.size());
      std::memcpy(image.rows.data(), rows, image.rows.size());
      WinGlobalFree(WinGlobalHandle(rows));
    } else {
      EXPECT_EQ(rows, m_untouched);
    }
    return status;
  }

  Bytes Code(const Image& image) {
    Bytes code;
    EXPECT_EQ(Encode(image, code), 1);
    return code;
  }

  void CheckRoundTrip(const Image& image) {
    SCOPED_TRACE(testing::Message()
                 << image.width << " x " << image.height << " x " << image.depth);
    Image padded = image;
    padded.FillPadding(1);
    const Bytes code = Code(padded);
    Image decoded = MakeImage(image.width, image.height, image.depth);
    ASSERT_EQ(Decode(code, decoded), 1);
    EXPECT_TRUE(decoded.rows == image.rows);
  }

  K_DllLoader m_loader;
  K_DecodeAbicRoutine m_decode = nullptr;
  K_EncodeAbicRoutine m_encode = nullptr;

 private:
  unsigned char m_byte = 0;
  unsigned char* m_untouched = &m_byte;
  size_t m_liveBlocks = 0;
};

TEST_F(Abic, EveryWidthAndKindOfPictureSurvives) {
  std::vector<std::pair<int, int>> sizes = {
      {333, 20}, {1728, 9}, {2550, 9}, {32767, 3}, {1, 32767}};
  for (int width = 1; width <= 70; ++width) sizes.emplace_back(width, 13);
  for (const auto& [width, height] : sizes) {
    for (const int depth : {1, 4}) {
      for (const Kind kind : {Kind::Zeros, Kind::Ones, Kind::Noise, Kind::Sparse, Kind::Runs}) {
        CheckRoundTrip(Draw(kind, width, height, depth, static_cast<unsigned>(width)));
      }
    }
  }
}

TEST_F(Abic, RefusesWhatItCannotCode) {
  const struct {
    int align, width, height;
  } cases[] = {{1, 8, 8},  {0, 8, 8},      {4, 0, 8},     {4, 8, 0},
               {4, -1, 8}, {4, 0x8000, 8}, {4, 8, 0x8000}};
  const Bytes bytes(100, 0);
  for (const auto& [align, width, height] : cases) {
    unsigned char* data = nullptr;
    uint64_t size = 0;
    EXPECT_EQ(m_encode(bytes.data(), align, width, height, &data, &size, 1),
              K_ERROR_INVALID_FORMAT);
    EXPECT_EQ(m_decode(bytes.data(), 100, &data, align, width, height, 1), K_ERROR_INVALID_FORMAT);
    EXPECT_EQ(data, nullptr);
  }
}

TEST_F(Abic, FewBytesNeverAskForABigImage) {
  const Bytes code = {0x00, 0x00, 0x00, 0x00};
  Image image{0x7FFF, 0x7FFF, 4, {}};
  K_FailAllocation(1);
  EXPECT_EQ(Decode(code, image), K_ERROR_READ);
  K_FailAllocation(0);
  // An empty page of that size is real, and takes few bytes.
  Image blank = MakeImage(0x7FFF, 0x7FFF, 1);
  const Bytes blankCode = Code(blank);
  EXPECT_LT(blankCode.size(), 40000U);
  EXPECT_EQ(Decode(blankCode, blank), 1);
}

TEST_F(Abic, NoMemoryIsReportedAtEveryAllocationOfALongCode) {
  // Noise of this size makes the code string outgrow its first memory.
  const Image image = Draw(Kind::Noise, 1000, 800, 1, 7);
  const Bytes code = Code(image);
  Bytes other;
  int failures = 0;
  for (int n = 1;; ++n, ++failures) {
    K_FailAllocation(n);
    const int status = Encode(image, other);
    K_FailAllocation(0);
    if (status == 1) break;
    ASSERT_EQ(status, K_ERROR_NO_MEMORY);
  }
  EXPECT_GE(failures, 4);
  EXPECT_EQ(other, code);
}

}  // namespace
