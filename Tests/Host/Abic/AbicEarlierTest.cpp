// Strings that the library wrote before it had the Q-Coder.
#include <algorithm>
#include <string_view>

#include "Host/Kernel/Kernel.h"
#include "Host/Kernel/KernelTesting.h"
#include "Tests/Host/Abic/AbicLibrary.h"

namespace kz::test {
namespace {

struct EarlierString {
  int width, height, depth;
  std::string_view code;
};

// As an earlier version wrote them, of the images of Curves().
constexpr EarlierString kEarlierStrings[] = {
    {21, 13, 1, "689400780C5399F499A50A2727F44EC1B58D5CCE624D8D8800B38C375E5FCFDDC7FFAC"},
    {70, 9, 1,
     "6893FD092BD81AE431817FB6252E0960C530D4DF8014A376BA295BF100AA3D0CB06893A007EB633A7C193D87BF"
     "0293C218A0F992A525C9D6AF01B128BC123ADC0F48AF1EC3E60169E10CFFAC"},
    {1, 9, 1, "51FFAC"},
    {19, 11, 4,
     "88CEEA22006A3349E85E68FACAC093E278529B1B935191BAE628073CE5B5736AD437F4E4A40C3B370279769A32"
     "5A3909B5C55285A4DC198B04763E6EE8D6ACC784A27ECD5B09EB19567159AB18E065FFAC"},
};

// A page of 2480 x 3508 white pixels.
constexpr std::string_view kBlankPage =
    "AC01FF7FFF7FFF7FFF7FFF7FFF7FFF7FFF7FFF7FFF7FFF7FFF7FFF7FFF7FFF7FFF7FFF7FFF7FFFAC";

IndependentImage Curves(int width, int height, int depth) {
  IndependentImage image{width, height, depth, {}};
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const int value = (x * x + 3 * y * y) / 29 % (1 << depth);
      image.samples.push_back(static_cast<unsigned char>(value));
    }
  }
  return image;
}

class AbicEarlier : public AbicLibrary {};

TEST_F(AbicEarlier, StringsAreRead) {
  for (const auto& [width, height, depth, digits] : kEarlierStrings) {
    SCOPED_TRACE(testing::Message() << width << " x " << height << " x " << depth);
    const IndependentImage image = Curves(width, height, depth);
    IndependentImage read{width, height, depth, {}};
    ASSERT_EQ(Decode(FromHex(digits), read), 1);
    EXPECT_EQ(read.samples, image.samples);
    AbicReading reading;
    ASSERT_EQ(DecodeLikely(FromHex(digits), read, reading), 1);
    EXPECT_TRUE(reading.earlier);
    EXPECT_EQ(read.samples, image.samples);
  }
}

// They said eight times as much with a bit as the Q-Coder can.
TEST_F(AbicEarlier, BlankPagesTakeFewBytes) {
  IndependentImage read{2480, 3508, 1, {}};
  ASSERT_EQ(Decode(FromHex(kBlankPage), read), 1);
  EXPECT_EQ(std::count(read.samples.begin(), read.samples.end(), 0), 2480 * 3508);
  read.depth = 4;
  EXPECT_EQ(Decode(FromHex(kBlankPage), read), K_ERROR_READ);
}

// What isn't whole is read as any other string is, the marker or none at its end.
TEST_F(AbicEarlier, CutStringsAreNotTakenForWholeOnes) {
  for (const auto& [width, height, depth, digits] : kEarlierStrings) {
    if (width == 1) continue;
    const Bytes whole = FromHex(digits);
    for (size_t kept = whole.size() - 10; kept > 1; kept -= std::min(kept - 1, size_t{5})) {
      SCOPED_TRACE(testing::Message() << width << " x " << height << ", " << kept << " bytes");
      Bytes cut(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(kept));
      for (int marked = 0; marked < 2; ++marked) {
        AbicReading reading;
        reading.earlier = true;
        ExpectReadAsTold(cut, {width, height, depth, {}}, reading);
        EXPECT_FALSE(reading.earlier);
        cut.insert(cut.end(), {0xFF, 0xAC});
      }
    }
  }
}

TEST_F(AbicEarlier, NoMemoryIsReportedAtEveryAllocation) {
  const auto& [width, height, depth, digits] = kEarlierStrings[0];
  IndependentImage read{width, height, depth, {}};
  int failures = 0;
  for (int n = 1;; ++n, ++failures) {
    K_FailAllocation(n);
    const int status = Decode(FromHex(digits), read);
    K_FailAllocation(0);
    if (status == 1) break;
    ASSERT_EQ(status, K_ERROR_NO_MEMORY);
  }
  EXPECT_EQ(failures, 2);
  EXPECT_EQ(read.samples, Curves(width, height, depth).samples);
}

}  // namespace
}  // namespace kz::test
