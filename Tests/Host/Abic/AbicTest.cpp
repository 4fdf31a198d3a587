// The entry points that every such library has, with the usual parameters.
#include <utility>
#include <vector>

#include "Host/Kernel/Kernel.h"
#include "Host/Kernel/KernelTesting.h"
#include "Tests/Host/Abic/AbicLibrary.h"
#include "Tests/Host/Abic/TestPictures.h"

namespace kz::test {
namespace {

class Abic : public AbicLibrary {
 protected:
  void CheckRoundTrip(const IndependentImage& image) {
    SCOPED_TRACE(testing::Message()
                 << image.width << " x " << image.height << " x " << image.depth);
    Bytes code, same;
    ASSERT_EQ(Encode(image, code), 1);
    ASSERT_EQ(EncodeWith(image, {}, same), 1);
    EXPECT_TRUE(code == same);
    IndependentImage decoded{image.width, image.height, image.depth, {}};
    ASSERT_EQ(Decode(code, decoded), 1);
    EXPECT_TRUE(decoded.samples == image.samples);
  }
};

IndependentImage OneColour(int width, int height, int depth, unsigned char colour) {
  const auto pixels = static_cast<size_t>(width) * static_cast<size_t>(height);
  return {width, height, depth, Bytes(pixels, colour)};
}

TEST_F(Abic, EveryWidthAndKindOfPictureSurvives) {
  std::vector<std::pair<int, int>> sizes = {
      {333, 20}, {1728, 9}, {2550, 9}, {32767, 3}, {1, 32767}};
  for (int width = 1; width <= 70; ++width) sizes.emplace_back(width, 13);
  for (const auto& [width, height] : sizes) {
    for (const int depth : {1, 4}) {
      const auto most = static_cast<unsigned char>((1 << depth) - 1);
      CheckRoundTrip(OneColour(width, height, depth, 0));
      CheckRoundTrip(OneColour(width, height, depth, most));
      for (const PictureKind kind :
           {PictureKind::Noise, PictureKind::Specks, PictureKind::LineArt}) {
        CheckRoundTrip(DrawPicture(kind, width, height, depth, static_cast<unsigned>(width)));
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
  IndependentImage image{8, 8, 1, {}};
  EXPECT_EQ(Decode({}, image), K_ERROR_READ);
}

TEST_F(Abic, FewBytesNeverAskForABigImage) {
  const Bytes code = {0x00, 0x00, 0x00, 0x00};
  IndependentImage image{0x7FFF, 0x7FFF, 4, {}};
  K_FailAllocation(1);
  EXPECT_EQ(Decode(code, image), K_ERROR_READ);
  K_FailAllocation(0);
  // An empty page of a large size is real, and takes few bytes.
  const IndependentImage blank = OneColour(0x7FFF, 0x1000, 1, 0);
  Bytes blankCode;
  ASSERT_EQ(Encode(blank, blankCode), 1);
  EXPECT_LT(blankCode.size(), 5000U);
  IndependentImage read{0x7FFF, 0x1000, 1, {}};
  ASSERT_EQ(Decode(blankCode, read), 1);
  EXPECT_TRUE(read.samples == blank.samples);
}

TEST_F(Abic, NoMemoryIsReportedAtEveryAllocationOfALongCode) {
  // Noise of this size makes the code string outgrow its first memory.
  const IndependentImage image = DrawPicture(PictureKind::Noise, 1000, 800, 1, 7);
  Bytes code, other;
  ASSERT_EQ(Encode(image, code), 1);
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
}  // namespace kz::test
